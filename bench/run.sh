#!/usr/bin/env bash
# Builds with the bench preset, measures, and writes what comes out into docs/PERFORMANCE.md:
#   bench/run.sh [--quick]
# First the steps of one capture on a screen of 3840x2160, with AVX2 and without; then many screens that
# change at once; then the real program: its start-up, its idle window and the recording of a still
# screen for a minute; then NDI and camera, and a live stream's uploads. At the end it holds the
# figures against the targets and fails when one is missed. About 10 minutes on an otherwise idle
# machine. --quick: shorter and with fewer repetitions, in a minute or two; the page stays as it is.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=60 many=20 slow=120 starts=5 min_time=0.5 repetitions=5
case "${1:-}" in
    --quick)
        seconds=10 many=5 slow=30 starts=2 min_time=0.05 repetitions=3
        export PODIUMCAST_BENCH_PAGE=none ;;
    "") ;;
    *) echo "usage: bench/run.sh [--quick]" >&2; exit 2 ;;
esac
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
export PODIUMCAST_BENCH_TARGETS=$dir/targets
bench/page.py machine

{
    cmake --preset bench
    cmake --build --preset bench --target podiumcast_bench podiumcast_bench_load podiumcast_bench_upload \
        PodiumcastRecorder DeckPlayer slidesource_bench ndisender
    tools/fetch-ndi-runtime.sh
} >&2
build=$PWD/build/bench

bench/slide.sh "$dir/slide.png"
export QT_QPA_PLATFORM=xcb QT_QUICK_BACKEND=software LC_ALL=C.UTF-8
# Without AVX2: as on an old processor, and as the Windows program of MinGW runs on every one.
tests/harness/desktop.sh --screen 3840x2160 -- bash -c '
    xrandr --setmonitor UHD 3840/1016x2160/572+0+0 screen >&2
    xrandr --setmonitor FHD 1920/508x1080/286+0+0 none >&2
    display -window root "$1/slide.png" || true # its exit code is 1 also when it worked
    measure() {
        "$bench" --benchmark_min_time="$min_time" --benchmark_repetitions="$repetitions" \
            --benchmark_report_aggregates_only=true --benchmark_enable_random_interleaving=true \
            --benchmark_out_format=json --benchmark_out="$@" >&2
    }
    bench=$2 min_time=$3 repetitions=$4
    measure "$1/capture.json"
    export OPENCV_CPU_DISABLE=SSSE3,SSE4.1,SSE4.2,POPCNT,AVX,FP16,AVX2,FMA3,AVX512-COMMON,AVX512-SKX
    measure "$1/baseline.json" --benchmark_filter=compare
' - "$dir" "$build/bench/podiumcast_bench" "$min_time" "$repetitions"
bench/capture.py "$dir/capture.json" "$dir/baseline.json"

# desktop of COLUMNS x ROWS monitors of WIDTH x HEIGHT, SECONDS, a slide every PERIOD_MS
load() {
    met=met
    tests/harness/desktop.sh --screen "$(($1 * $3))x$(($2 * $4))" -- bash -c '
        for ((i = 0; i < $1 * $2; ++i)); do
            xrandr --setmonitor "M$i" "$3/508x$4/286+$(($3 * (i % $1)))+$(($4 * (i / $1)))" \
                "$([ "$i" = 0 ] && echo screen || echo none)" >/dev/null
        done
        exec "$7" "$5" "$6" "$8"
    ' - "$@" "$build/bench/podiumcast_bench_load" "$dir/slide.png" >>"$dir/load" || met=MISSED
    bench/page.py target "$(($1 * $2)) screens of $3x$4, a slide every $(($6 / 1000)) s: backlog" \
        'at most 2, and at most one slide missed' "$(tail -n1 "$dir/load" | cut -d'|' -f4 | xargs)" "$met"
}
printf '| screens | slides found | backlog: longest, at the end | CPU |\n|---|---|---|---|\n' >"$dir/load"
load 3 1 3840 2160 "$many" 1000
load 3 2 1920 1080 "$slow" 10000
bench/page.py section 'many screens' <"$dir/load"

printf '| | |\n|---|---|\n' >"$dir/program"
tests/harness/desktop.sh --audio -- /usr/bin/python3 bench/recording.py \
    --recorder "$build/src/app/PodiumcastRecorder" --player "$build/tools/demo/DeckPlayer" \
    --seconds "$seconds" --starts "$starts" >>"$dir/program"
bench/page.py section 'the whole program' <"$dir/program"

# In a network of its own; without the NDI runtime this says "skipped".
QT_QPA_PLATFORM=offscreen PODIUMCAST_NDI_SENDER=$build/tools/ndisender/ndisender \
    tests/harness/ndi-network.sh "$PWD/build/ndi-runtime" -- "$build/bench/slidesource_bench" "$seconds" \
    >"$dir/sources" || [ $? = 77 ]
bench/page.py section 'NDI and camera' <"$dir/sources"

QT_QPA_PLATFORM=offscreen "$build/bench/podiumcast_bench_upload" >"$dir/upload"
bench/page.py section 'live stream' <"$dir/upload"

bench/page.py targets
