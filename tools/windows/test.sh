#!/usr/bin/env bash
# Builds the Windows program and its tests and runs them here, under Wine on a virtual desktop with
# the virtual microphone: first the tests, then the demonstration, which tools/demo checks.
#   PODIUMCAST_WINDOWS_SDK=… tools/windows/test.sh [test or "demo" …]     (default: all)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

tools/install-dependencies.sh tools/packages-test.txt
tools/windows/build.sh
mapfile -t tests < build/windows/tests.txt

sdk=$(tools/windows/sdk.sh)
export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=d' LC_ALL=C.UTF-8
export WINEPATH="Z:${sdk//\//\\}\\qt\\bin;Z:${sdk//\//\\}\\runtime"
# Only this prefix's programs.
trap 'wineserver -k || true' EXIT
if [ ! -f "$WINEPREFIX/ready" ]; then
    wineboot -i
    # Every program inside one Wine desktop: only there does the pointer hook see the X pointer.
    wine reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d podium /f >/dev/null
    wine reg add 'HKCU\Software\Wine\Explorer\Desktops' /v podium /d 1920x1080 /f >/dev/null
    wineserver -w
    touch "$WINEPREFIX/ready"
fi

results=build/windows/results failed=()
mkdir -p "$results"
on_desktop() { # <name> <command>…
    local name=$1
    shift
    tests/harness/desktop.sh --audio -- "$@" || failed+=("$name")
    wineserver -k || true
}
wanted=" ${*:-${tests[*]} demo} "
rm -f "$results"/*
for test in "${tests[@]}"; do
    [[ $wanted == *" $test "* ]] || continue
    program=$(find build/windows/tests -name "$test.exe")
    # What a Windows program prints does not come through a pipe: the result is a file. Its exit
    # code says nothing where the libraries' destructors hang at the end of the process.
    tests/harness/desktop.sh --audio -- timeout 90 wine "$program" -o "$results/$test.txt,txt" || true
    wineserver -k || true
    echo "$test: $(grep ^Totals "$results/$test.txt" || echo 'did not end')"
    grep -q '^Totals.* 0 failed' "$results/$test.txt" || { failed+=("$test"); grep -A4 ^FAIL "$results/$test.txt" || true; }
done
if [[ $wanted == *" demo "* ]]; then
    # The tests leave settings in the registry.
    wine reg delete 'HKCU\Software\Podiumcast' /f >/dev/null || true
    wineserver -k || true
    on_desktop demo /usr/bin/python3 tools/demo/demo.py --seconds-per-slide 3 --launcher wine \
        --path-prefix Z: --player build/windows/tools/demo/DeckPlayer.exe \
        --recorder build/windows/src/app/PodiumcastRecorder.exe
fi
[ ${#failed[@]} = 0 ] || { echo "Failed under Wine: ${failed[*]}" >&2; exit 1; }
echo "Everything passed under Wine."
