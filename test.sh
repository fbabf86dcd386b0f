#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests without a display:
#   ./test.sh [PRESET] [argument of ctest …]
# PRESET is dev when it is not given; asan and tsan run them under the sanitizers.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

preset=dev
case "${1-}" in
    -h | --help) sed -n '2,4s/^# \?//p' "$0"; exit 0 ;;
    '' | -*) ;;
    *) preset=$1; shift ;;
esac
tools/install-dependencies.sh tools/packages.txt tools/packages-test.txt
tools/build.sh "$preset"
tools/fetch-ndi-runtime.sh >/dev/null
exec ctest --preset "$preset" -j2 "$@"
