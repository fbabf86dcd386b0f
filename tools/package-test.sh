#!/usr/bin/env bash
# Makes the packages and tests them as a user has them:
#   [PODIUMCAST_WINDOWS_SDK=…] tools/package-test.sh [deb|zip|installer|fresh-root …]
# Without arguments: deb, and with the SDK zip and installer. zip and installer run under Wine, deb in
# a copy of this machine's root directory, fresh-root in a new, bare Debian (a few minutes, some
# hundred megabytes below build/); these two need root. PODIUMCAST_PRESET as in tools/package.sh.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

[ $# -gt 0 ] || set -- deb ${PODIUMCAST_WINDOWS_SDK:+zip installer}
tools/install-dependencies.sh tools/packages.txt tools/packages-test.txt tools/packages-packaging.txt
case " $* " in *' zip '* | *' installer '*) windows=1 ;; *) windows=0 ;; esac
case " $* " in *' deb '* | *' fresh-root '*) linux=1 ;; *) linux=0 ;; esac

[ $linux = 0 ] || { tools/package.sh deb; tools/build.sh dev --target DeckPlayer; }
[ $windows = 0 ] || {
    tools/package.sh zip
    tools/package.sh installer
    tools/windows/build.sh --target DeckPlayer ArgumentsEcho
}
version=$(sed -n 's/^## //p;T;q' CHANGELOG.md)
deb=build/packages/podiumcast-recorder_${version}_amd64.deb
zip=build/packages/PodiumcastRecorder-$version-windows-x64.zip
setup=${zip%.zip}-setup.exe

deck=build/package-test/deck
mkdir -p "$deck"
for number in 1 2; do
    [ -f "$deck/$number.png" ] || convert -size 1920x1080 "xc:hsl($((number * 90)),60%,30%)" -gravity center \
        -fill white -pointsize 200 -annotate +0+0 "Slide $number" "$deck/$number.png"
done

check_deb() {
    local contents=build/package-test/contents
    rm -rf "$contents"
    dpkg-deb -x "$deb" "$contents"
    lintian --allow-root --fail-on error,warning "$deb"
    desktop-file-validate "$contents"/usr/share/applications/*.desktop
    appstreamcli validate --no-net "$contents"/usr/share/metainfo/*.metainfo.xml
}
for test in "$@"; do
    case "$test" in
        zip) tests/packages/zip.sh "$zip" "$setup" "$version" ;;
        installer) tests/packages/installer.sh "$setup" "$zip" "$version" ;;
        deb) check_deb; tests/packages/deb.sh "$deb" "$version" / ;;
        fresh-root)
            fresh=$PWD/build/package-test/bookworm
            [ -f "$fresh.complete" ] || {
                rm -rf "$fresh"
                debootstrap --variant=minbase bookworm "$fresh"
                touch "$fresh.complete"
            }
            tests/packages/deb.sh "$deb" "$version" "$fresh" ;;
        *) echo "package-test.sh: unknown test $test" >&2; exit 2 ;;
    esac
done
