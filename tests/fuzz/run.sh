#!/usr/bin/env bash
# Fuzzes every parser of foreign input, or those named, one after the other:
#   tests/fuzz/run.sh SECONDS [TARGET …]
# What reached new code goes, minimised, into tests/fuzz/corpus/TARGET; an input that breaks
# something is left as build/fuzz/crash-TARGET-… and makes this fail.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
[ $# -ge 1 ] || { sed -n '2,5s/^# \?//p' "$0" >&2; exit 2; }

seconds=$1; shift
tools/install-dependencies.sh tools/packages.txt tools/packages-fuzz.txt
tools/build.sh fuzz
if [ $# = 0 ]; then mapfile -t targets < <(ls tests/fuzz/corpus); else targets=("$@"); fi

# Leaks are looked for where the corpora are replayed (preset asan): here that would take most of
# the time.
export QT_LOGGING_RULES='*=false' HOME=$PWD/build/fuzz TMPDIR=/dev/shm
failed=()
for target in "${targets[@]}"; do
    program=build/fuzz/tests/fuzz/fuzz_$target corpus=tests/fuzz/corpus/$target
    found=build/fuzz/found-$target
    mkdir -p "$found"
    nice -n 19 "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 -detect_leaks=0 -max_len=4096 \
        -verbosity=1 -print_final_stats=1 -artifact_prefix="build/fuzz/crash-$target-" \
        "$found" "$corpus" >"build/fuzz/$target.log" 2>&1 || failed+=("$target")
    rm -rf "$found.min" && mkdir "$found.min"
    "$program" -set_cover_merge=1 -detect_leaks=0 -max_len=4096 "$found.min" "$corpus" "$found" >>"build/fuzz/$target.log" 2>&1 ||
        { failed+=("$target"); continue; }
    # Named inputs are ours and stay; those that have their hash for a name are found anew.
    find "$corpus" -regextype egrep -regex '.*/[0-9a-f]{40}' -delete
    for seed in "$corpus"/*; do
        rm -f "$found.min/$(sha1sum <"$seed" | cut -d' ' -f1)"
    done
    cp "$found.min"/* "$corpus"
    printf '%s: %s, %s inputs kept\n' "$target" \
        "$(sed -n 's/^stat::number_of_executed_units: *\(.*\)/\1 runs/p' "build/fuzz/$target.log" | head -1)" \
        "$(ls "$found.min" | wc -l)"
done
[ ${#failed[@]} = 0 ] || { echo "FAILED: ${failed[*]}, see build/fuzz/TARGET.log"; exit 1; }
