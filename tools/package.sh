#!/usr/bin/env bash
# Installs what is missing, builds the packages into build/packages and prints their sizes:
#   [PODIUMCAST_WINDOWS_SDK=…] tools/package.sh [deb|zip|installer|all]     (default: all)
# zip and installer are for Windows and need the SDK (tools/windows/sdk.sh); without it "all" is the
# Debian package alone. PODIUMCAST_PRESET is the CMake preset of the Debian package (release).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

what=${1-all} preset=${PODIUMCAST_PRESET:-release}
case "$what" in
    deb | zip | installer) ;;
    all) [ -n "${PODIUMCAST_WINDOWS_SDK-}" ] || {
        echo "PODIUMCAST_WINDOWS_SDK is not set: building the Debian package only."
        what=deb
    } ;;
    *) sed -n '2,5s/^# \?//p' "$0" >&2; exit 2 ;;
esac
tools/install-dependencies.sh tools/packages.txt tools/packages-packaging.txt

# Dates in the packages are those of the last change, not of their making.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || stat -c %Y CHANGELOG.md)
export SOURCE_DATE_EPOCH
mkdir -p build/packages

package() { # <preset> <generator> <names>
    local log=build/$1/cpack.log
    # shellcheck disable=SC2086
    rm -f build/packages/$3
    (cd "build/$1" && cpack -G "$2") >"$log" 2>&1 || { cat "$log" >&2; return 1; }
    sed -n 's/^CPack: - package: \(.*\) generated\.$/\1/p' "$log" |
        while IFS= read -r file; do
            mv "$file" build/packages/
            du -h --apparent-size "build/packages/${file##*/}"
        done
}

if [ "$what" = deb ] || [ "$what" = all ]; then
    # Configured anew for the date.
    cmake --preset "$preset" >/dev/null
    tools/build.sh "$preset" --target PodiumcastRecorder
    package "$preset" DEB "*.deb"
fi
[ "$what" != deb ] || exit 0
tools/windows/build.sh --target PodiumcastRecorder PodiumcastRecorderLauncher
[ "$what" = installer ] || package windows ZIP "*.zip"
[ "$what" = zip ] || package windows NSIS "*-setup.exe"
