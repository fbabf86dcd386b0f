#!/usr/bin/env bash
# Builds with the bench preset, measures, and prints the results as Markdown tables:
#   bench/run.sh [--quick]
# First the steps of one capture on a screen of 3840x2160, then many screens that change at once, then
# the real program: its start-up, its idle window and the recording of a still screen for a minute,
# then a live stream's uploads. --quick: ten seconds of recording, fewer repetitions.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=60 starts=5 min_time=0.5
case "${1:-}" in
    --quick) seconds=10 starts=2 min_time=0.1 ;;
    "") ;;
    *) echo "usage: bench/run.sh [--quick]" >&2; exit 2 ;;
esac

{
    cmake --preset bench
    cmake --build --preset bench --target podiumcast_bench podiumcast_bench_load podiumcast_bench_upload \
        PodiumcastRecorder DeckPlayer \
        slidesource_bench ndisender
    tools/fetch-ndi-runtime.sh
} >&2
build=build/bench
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# A slide: a gradient, a photograph and text.
convert -seed 1 -size 3840x2160 gradient:white-lightblue \
    \( -size 1600x1200 plasma:orange-navy \) -geometry +2000+700 -composite \
    -fill black -pointsize 120 -annotate +200+500 'What a recorder sees,\nonce a second:\n\n- a gradient\n- a picture\n- some text' \
    -depth 8 "$dir/slide.png"

export QT_QPA_PLATFORM=xcb QT_QUICK_BACKEND=software LC_ALL=C.UTF-8
tests/harness/desktop.sh --screen 3840x2160 -- bash -c '
    xrandr --setmonitor UHD 3840/1016x2160/572+0+0 screen
    xrandr --setmonitor FHD 1920/508x1080/286+0+0 none
    display -window root "$1/slide.png" || true # its exit code is 1 also when it worked
    exec "$2" --benchmark_min_time="$3" --benchmark_repetitions=5 \
        --benchmark_enable_random_interleaving=true --benchmark_out="$1/capture.json" --benchmark_out_format=json >&2
' - "$dir" "$build/bench/podiumcast_bench" "$min_time"

/usr/bin/python3 - "$dir/capture.json" <<'PYTHON'
import json
import sys

rows = {}
for run in json.load(open(sys.argv[1]))["benchmarks"]:
    if run.get("error_occurred"):
        sys.exit(f"{run['name']}: {run['error_message']}")
    if run.get("aggregate_name") != "median":
        continue
    name, width = run["name"].split("/")[:2]
    rows.setdefault(name, {})[width] = f"{run['real_time']:.3f} ms ({run['cpu_time']:.3f})"
print("| one capture: median time (CPU of all threads) | 1920x1080 | 3840x2160 |\n|---|---|---|")
for name, times in rows.items():
    print(f"| {name} | {times['w:1920']} | {times['w:3840']} |")
PYTHON

printf '\n| screens that all change at once, on this machine alone | |\n|---|---|\n'
# desktop of COLUMNS x ROWS monitors of WIDTH x HEIGHT, a slide every PERIOD_MS
load() {
    tests/harness/desktop.sh --screen "$(($1 * $3))x$(($2 * $4))" -- bash -c '
        for ((i = 0; i < $1 * $2; ++i)); do
            xrandr --setmonitor "M$i" "$3/508x$4/286+$(($3 * (i % $1)))+$(($4 * (i / $1)))" \
                "$([ "$i" = 0 ] && echo screen || echo none)" >/dev/null
        done
        exec "$6" "$7" "$5" "$8"
    ' - "$@" "$build/bench/podiumcast_bench_load" "$((seconds / 2))" "$dir/slide.png" ||
        echo 'The queue grew: see the row above.' >&2
}
load 3 1 3840 2160 1000
load 3 2 1920 1080 10000

printf '\n| the real program | |\n|---|---|\n'
tests/harness/desktop.sh --audio -- /usr/bin/python3 bench/recording.py \
    --recorder "$build/src/app/PodiumcastRecorder" --player "$build/tools/demo/DeckPlayer" \
    --seconds "$seconds" --starts "$starts"

printf '\n'
QT_QPA_PLATFORM=offscreen "$build/bench/podiumcast_bench_upload"

# In a network of its own; without the NDI runtime this says "skipped".
printf '\n'
QT_QPA_PLATFORM=offscreen PODIUMCAST_NDI_SENDER=$PWD/$build/tools/ndisender/ndisender \
    tests/harness/ndi-network.sh "$PWD/build/ndi-runtime" -- "$build/bench/slidesource_bench" "$seconds" ||
    [ $? = 77 ]
