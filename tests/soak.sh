#!/usr/bin/env bash
# Records for MINUTES while everything that can change changes, and checks what was recorded; then
# starts and stops 100 recordings:
#   tests/soak.sh MINUTES
# See tests/soak.py; ctest runs two minutes of it. What half an hour or more gives is written into
# docs/PERFORMANCE.md.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[[ ${1-} =~ ^[0-9]+$ ]] || { sed -n '2,6s/^# \?//p' "$0" >&2; exit 2; }
[ "$1" -ge 30 ] || export PODIUMCAST_BENCH_PAGE=none

tools/install-dependencies.sh tools/packages.txt tools/packages-test.txt
tools/build.sh dev --target PodiumcastRecorder DeckPlayer podiumcast-test-service tst_recorder >&2
build=$PWD/build/dev
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
printf '| %s minutes | |\n|---|---|\n' "$1" >"$dir/soak"
tests/harness/desktop.sh --audio --screen 3840x1080 -- /usr/bin/python3 tests/soak.py \
    --minutes "$1" --recorder "$build/src/app/PodiumcastRecorder" \
    --player "$build/tools/demo/DeckPlayer" \
    --service "$build/tools/service/podiumcast-test-service" | tee -a "$dir/soak"
PODIUMCAST_ROUNDS=100 tests/harness/desktop.sh --audio -- \
    "$build/tests/recording/tst_recorder" startsAndStopsLeakNothing -o "$dir/rounds,txt" ||
    { cat "$dir/rounds" >&2; exit 1; }
cat "$dir/soak" "$dir/rounds" | sed -n 's/^[^|]*\(| .* |\)$/\1/p; /^|---/p' | bench/page.py section soak
