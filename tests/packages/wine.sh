# shellcheck shell=bash
# Sourced by the tests of the Windows packages: a Windows of its own that knows nothing of the SDK,
# its programs inside one desktop (only there does the pointer hook see the pointer).
export WINEPREFIX=$PWD/build/package-test/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=d'
export LC_ALL=C.UTF-8
unset WINEPATH QT_PLUGIN_PATH QML_IMPORT_PATH
trap 'wineserver -k || true' EXIT
if [ ! -f "$WINEPREFIX/ready" ]; then
    mkdir -p build/package-test
    wineboot -i 2>build/package-test/wineboot.log
    wine reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d podium /f >/dev/null
    wine reg add 'HKCU\Software\Wine\Explorer\Desktops' /v podium /d 1920x1080 /f >/dev/null
    wineserver -w
    touch "$WINEPREFIX/ready"
fi

fail() { echo "$(basename "$0"): $*" >&2; exit 1; }

record() { # <launcher.exe>: a short talk, which must land beside the launcher
    # The player is no part of the package: it gets the SDK's DLLs.
    local sdk player
    sdk=$(tools/windows/sdk.sh)
    player="env 'WINEPATH=Z:${sdk//\//\\}\\qt\\bin;Z:${sdk//\//\\}\\runtime' wine"
    # What ran before without a screen would leave it without one.
    wineserver -k || true
    tests/harness/desktop.sh --audio -- /usr/bin/python3 tools/demo/demo.py --seconds-per-slide 3 \
        --deck build/package-test/deck --launcher wine --player-launcher "$player" --path-prefix Z: \
        --player build/windows/tools/demo/DeckPlayer.exe --recorder "$1" \
        --work-dir "$(dirname "$1")/Presentations"
    wineserver -k || true
}
