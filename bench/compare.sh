#!/usr/bin/env bash
# Three ways to record the same deck from the same virtual screen, one after the other:
#   bench/compare.sh [--seconds-per-slide 5]
# this recorder, ffmpeg that looks for new slides once a second, and ffmpeg that records a video.
# Prints what they cost and find as a Markdown table, and writes it into docs/PERFORMANCE.md.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v ffmpeg >/dev/null || { echo "compare.sh: ffmpeg is missing (apt-get install ffmpeg)" >&2; exit 1; }
{
    cmake --preset bench
    cmake --build --preset bench --target PodiumcastRecorder DeckPlayer
} >&2
export QT_QPA_PLATFORM=xcb QT_QUICK_BACKEND=software LC_ALL=C.UTF-8
exec tests/harness/desktop.sh --audio -- /usr/bin/python3 bench/compare.py \
    --recorder build/bench/src/app/PodiumcastRecorder --player build/bench/tools/demo/DeckPlayer \
    "$@"
