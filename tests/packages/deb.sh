#!/usr/bin/env bash
# The Debian package in a root directory that is thrown away: installed with apt, started as a user,
# a talk recorded into the user's own directory, removed.   deb.sh PACKAGE.deb VERSION ROOT
# ROOT is copied on writing; / is this machine, where nothing is missing. The screen and the
# microphone are this machine's; everything else is the root's.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

package=$(realpath "$1") version=$2 lower=$3
fail() { echo "deb.sh: $*" >&2; exit 1; }
if [ -z "${PODIUMCAST_IN_NAMESPACE-}" ]; then
    [ "$(id -u)" = 0 ] || { echo "SKIPPED: only root can install a package into another root"; exit 0; }
    # Its mounts end with it.
    PODIUMCAST_IN_NAMESPACE=1 exec unshare --mount -- "$0" "$@"
fi

layers=$(mktemp -d)
trap 'umount -R -l "$layers" 2>/dev/null; rmdir "$layers"' EXIT
root=$layers/root
{
    mount -t tmpfs tmpfs "$layers" && mkdir "$layers"/{upper,work,root} &&
        mount -t overlay overlay -o "lowerdir=$lower,upperdir=$layers/upper,workdir=$layers/work" "$root"
} || { echo "SKIPPED: this machine does not let a copy of a root directory be mounted"; exit 0; }
mount -t proc proc "$root/proc"
mount --rbind /dev "$root/dev"
mount -t tmpfs tmpfs "$root/tmp"
chmod 1777 "$root/tmp"
cp /etc/resolv.conf "$root/etc/"
cp "$package" "$root/tmp/"
in_root() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }

[ "$lower" = / ] || in_root apt-get -q update >/dev/null
in_root apt-get -q install -y --no-install-recommends "/tmp/${package##*/}" >"$layers/apt.log" 2>&1 ||
    { cat "$layers/apt.log"; fail "it cannot be installed"; }
[ "$(in_root dpkg-query -Wf '${Version}' podiumcast-recorder)" = "$version" ] || fail "this is not version $version"
in_root useradd --create-home speaker

record() {
    # Sockets instead of directories: the latter are closed to other users.
    mkdir "$root/tmp/.X11-unix"
    mount --bind /tmp/.X11-unix "$root/tmp/.X11-unix"
    touch "$root/tmp/pulse"
    mount --bind "${PULSE_SERVER#unix:}" "$root/tmp/pulse"
    /usr/bin/python3 tools/demo/demo.py --seconds-per-slide 3 --deck build/package-test/deck \
        --launcher "chroot --userspec=speaker $root env -i HOME=/home/speaker PATH=/usr/bin:/bin
            DISPLAY=$DISPLAY PULSE_SERVER=unix:/tmp/pulse" --player-launcher '' \
        --player build/dev/tools/demo/DeckPlayer --recorder /usr/bin/podiumcast-recorder \
        --work-dir "$root/home/speaker/Podiumcast Presentations"
}
export -f record
export root
tests/harness/desktop.sh --audio -- bash -euo pipefail -c record

in_root apt-get -q purge -y podiumcast-recorder >/dev/null 2>&1
left=$(find "$root/usr" "$root/etc" -iname '*podiumcast*' -newer "$layers/apt.log" -not -path '*/dpkg/*')
[ -z "$left" ] || fail "left behind: $left"
[ -n "$(ls "$root/home/speaker/Podiumcast Presentations")" ] || fail "the presentations are gone"
echo "The Debian package is good."
