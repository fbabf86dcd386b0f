#!/usr/bin/env bash
# Records a screen of 1920x1080 with sound for MINUTES, and watches what it takes:
#   bench/hour.sh MINUTES
# See bench/hour.py. An hour's table goes into docs/PERFORMANCE.md, a shorter one is only printed.
set -euo pipefail
cd "$(dirname "$0")/.."
[[ ${1-} =~ ^[0-9]+$ ]] || { sed -n '2,4s/^# \?//p' "$0" >&2; exit 2; }
[ "$1" -ge 60 ] || export PODIUMCAST_BENCH_PAGE=none
{
    cmake --preset bench
    cmake --build --preset bench --target PodiumcastRecorder DeckPlayer
} >&2
# Copies, so that the next build does not change the programs meanwhile.
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cp build/bench/src/app/{PodiumcastRecorder,podiumcast-camera.so} build/bench/tools/demo/DeckPlayer "$dir"
export QT_QPA_PLATFORM=xcb QT_QUICK_BACKEND=software LC_ALL=C.UTF-8
tests/harness/desktop.sh --audio -- /usr/bin/python3 bench/hour.py --minutes "$1" \
    --recorder "$dir/PodiumcastRecorder" --player "$dir/DeckPlayer"
