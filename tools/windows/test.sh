#!/usr/bin/env bash
# Builds the Windows program and its tests and runs them here, under Wine on a virtual desktop with
# the virtual microphone: first the tests, then the demonstration and the one of the live stream,
# which tools/demo checks, then what tests/e2e does with the program.
#   PODIUMCAST_WINDOWS_SDK=… tools/windows/test.sh [NAME …]
# NAME is a test, demo, demo-live, session, or a scenario of tests/e2e/scenarios.py; default: all.
# What the programs print, and the tests' results, are in build/windows/results.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

tools/install-dependencies.sh tools/packages-test.txt
tools/windows/build.sh
mapfile -t tests < build/windows/tests.txt

sdk=$(tools/windows/sdk.sh)
export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=d' LC_ALL=C.UTF-8
export WINEPATH="Z:${sdk//\//\\}\\qt\\bin;Z:${sdk//\//\\}\\runtime"
results=$PWD/build/windows/results failed=()
mkdir -p "$results"
rm -f "$results"/*
end_wine() { wineserver -k || true; } # only this prefix's programs
trap end_wine EXIT
if [ ! -f "$WINEPREFIX/ready" ]; then
    rm -rf "$WINEPREFIX"
    wineboot -i 2>"$results/wineboot.log"
    # Every program inside one Wine desktop: only there does the pointer hook see the X pointer.
    wine reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d podium /f >/dev/null
    wine reg add 'HKCU\Software\Wine\Explorer\Desktops' /v podium /d 1920x1080 /f >/dev/null
    wineserver -w
    touch "$WINEPREFIX/ready"
fi

# What a Windows program prints does not come through a pipe: the result is a file.
run_test() {
    local name=$1 program code=0 totals
    program=$(find build/windows/tests -name "$name.exe")
    tests/harness/desktop.sh --audio -- timeout 120 wine "$program" -o "$results/$name.txt,txt" \
        >"$results/$name.log" 2>&1 || code=$?
    end_wine
    totals=$(grep ^Totals "$results/$name.txt" || echo "did not end")
    echo "$name: ${totals#Totals: }"
    if [ $code != 0 ] || ! [[ $totals == *" 0 failed"* ]]; then
        failed+=("$name")
        echo "  exit code $code"
        grep -aA4 ^FAIL "$results/$name.txt" || tail -n 5 "$results/$name.txt" "$results/$name.log"
    fi
}

drive() { # <name> <script> [argument …]
    local name=$1 code=0
    shift
    echo "$name:"
    # Default settings, whatever was recorded before.
    wine reg delete 'HKCU\Software\Podiumcast' /f >/dev/null 2>&1 || true
    end_wine 2>/dev/null
    tests/harness/desktop.sh --audio -- /usr/bin/python3 "$@" --launcher wine --path-prefix Z: \
        --player build/windows/tools/demo/DeckPlayer.exe \
        --recorder build/windows/src/app/PodiumcastRecorder.exe 2>&1 || code=$?
    end_wine
    case $code in
        0 | 77) ;; # 77: not possible here, and it said why
        *) failed+=("$name") ;;
    esac
}

[ $# -gt 0 ] || set -- "${tests[@]}" demo demo-live session places full nearly_full
for name in "$@"; do
    case $name in
        demo) drive demo tools/demo/demo.py --seconds-per-slide 3 ;;
        demo-live)
            tools/build.sh dev --target podiumcast-test-service # a program of this system
            # Slides come from a path that the C++ library could not open on Windows.
            long=$(printf 'Ein langer Name für Vorträge, 教室/%.0s' {1..8})
            drive demo-live tools/demo/demo.py --seconds-per-slide 3 --place "$long" \
                --service build/dev/tools/service/podiumcast-test-service ;;
        session) drive session tests/e2e/scenarios.py wine ;;
        *)
            if [[ " ${tests[*]} " == *" $name "* ]]; then
                run_test "$name"
            else
                drive "$name" tests/e2e/scenarios.py "$name"
            fi ;;
    esac
done
[ ${#failed[@]} = 0 ] || { echo "Failed under Wine: ${failed[*]} ($results)" >&2; exit 1; }
echo "Everything passed under Wine."
