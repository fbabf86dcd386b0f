#!/usr/bin/env bash
# Records for MINUTES while everything that can change changes, and checks what was recorded:
#   tests/soak.sh MINUTES
# See tests/soak.py; ctest runs two minutes of it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[[ ${1-} =~ ^[0-9.]+$ ]] || { sed -n '2,4s/^# \?//p' "$0" >&2; exit 2; }

tools/install-dependencies.sh tools/packages.txt tools/packages-test.txt
tools/build.sh dev --target PodiumcastRecorder DeckPlayer podiumcast-test-service >&2
build=build/dev
exec tests/harness/desktop.sh --audio --screen 3840x1080 -- /usr/bin/python3 tests/soak.py \
    --minutes "$1" --recorder "$PWD/$(find $build -name PodiumcastRecorder -type f -perm -1)" \
    --player "$PWD/$build/tools/demo/DeckPlayer" \
    --service "$PWD/$build/tools/service/podiumcast-test-service"
