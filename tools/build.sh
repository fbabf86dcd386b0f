#!/usr/bin/env bash
# Configures a CMake preset where that is needed, and builds it:
#   tools/build.sh PRESET [argument of cmake --build …]
# Ninja itself configures again when a CMake file changes; the presets are what it does not watch.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=$1; shift
stamp=build/$preset/configured.stamp
if [ ! -f "build/$preset/build.ninja" ] || [ ! "$stamp" -nt CMakePresets.json ]; then
    cmake --preset "$preset"
    touch "$stamp"
fi
cmake --build --preset "$preset" "$@"
