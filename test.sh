#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests without a display:
#   ./test.sh [PRESET] [argument of ctest …]
# PRESET is dev when it is not given; asan and tsan run tests under the sanitizers, tsan only those
# labelled "threads" (Qt itself hides its synchronisation from it).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

preset=dev
case "${1-}" in
    -h | --help) sed -n '2,5s/^# \?//p' "$0"; exit 0 ;;
    '' | -*) ;;
    *) preset=$1; shift ;;
esac
tools/install-dependencies.sh tools/packages.txt tools/packages-test.txt
tools/build.sh "$preset"
tools/fetch-ndi-runtime.sh >/dev/null
exec ctest --preset "$preset" -j2 "$@"
