#!/usr/bin/env bash
# Times the comparison in a Windows program under Wine, and writes the table into docs/PERFORMANCE.md:
#   PODIUMCAST_WINDOWS_SDK=… bench/windows.sh
# Its arithmetic is this processor's own; what Windows has to do with it is little.
set -euo pipefail
cd "$(dirname "$0")/.."
PODIUMCAST_WINDOWS_SDK=$(tools/windows/sdk.sh)
export PODIUMCAST_WINDOWS_SDK
{
    cmake --preset windows -DPODIUMCAST_BENCH=ON
    tools/windows/build.sh --target podiumcast_bench_compare
} >&2
dir=$(mktemp -d)
sdk=$PODIUMCAST_WINDOWS_SDK
export WINEPREFIX=$dir/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=d' LC_ALL=C.UTF-8
export WINEPATH="Z:${sdk//\//\\}\\qt\\bin;Z:${sdk//\//\\}\\runtime"
trap 'wineserver -k || true; rm -rf "$dir"' EXIT
bench/slide.sh "$dir/slide.png"
tests/harness/desktop.sh -- bash -c '
    wineboot -i && wine build/windows/bench/podiumcast_bench_compare.exe "Z:$1/slide.png" "Z:$1/times.json"
' - "$dir" >&2
bench/capture.py --windows "$dir/times.json"
