#!/usr/bin/env bash
# Installs what is missing, builds the recorder and opens it:
#   ./run.sh
# Without a display, or with --demo, it records a short talk for real on a virtual screen and with
# a virtual microphone, prints what the presentation holds and checks it:
#   ./run.sh --demo [--live] [--deck DIR] [--seconds-per-slide S] [--output DIR]
#     --live                  streams it live to a service and an S3 server on this machine, and
#                             proves from their side what arrived
#     --deck DIR              PNG images, shown in name order (default: six that are drawn for it)
#     --seconds-per-slide S   how long each is shown, 2 or more, fractions allowed (default: 4)
#     --output DIR            receives the directory of the presentation
set -euo pipefail

fail() { echo "run.sh: $*" >&2; exit 2; }
demo=0 live=0 deck='' seconds=4 output=''
while [ $# -gt 0 ]; do
    case "$1" in
        --demo) demo=1; shift; continue ;;
        --live) demo=1 live=1; shift; continue ;;
        -h | --help) sed -n '2,11s/^# \?//p' "$0"; exit 0 ;;
        --deck | --seconds-per-slide | --output) ;;
        *) fail "unknown option $1 (--help lists them)" ;;
    esac
    [ $# -ge 2 ] && [ -n "$2" ] || fail "$1 needs a value"
    demo=1
    case "$1" in
        --deck)
            [ -d "$2" ] || fail "--deck: there is no directory $2"
            deck=$(cd -- "$2" && pwd)
            [ -n "$(find -L "$deck" -maxdepth 1 -type f -iname '*.png' -print -quit)" ] ||
                fail "--deck: there are no PNG images in $2" ;;
        --seconds-per-slide)
            [[ $2 =~ ^0*([0-9]{1,4})([.][0-9]+)?$ ]] && [ "${BASH_REMATCH[1]}" -ge 2 ] ||
                fail "--seconds-per-slide: $2 is not a number of seconds from 2 to 9999"
            seconds=$2 ;;
        --output)
            mkdir -p -- "$2" 2>/dev/null && [ -w "$2" ] || fail "--output: cannot write into $2"
            output=$(cd -- "$2" && pwd) ;;
    esac
    shift 2
done

cd "$(dirname "${BASH_SOURCE[0]}")"
tools/install-dependencies.sh tools/packages.txt
if [ "$demo" = 0 ] && ! { [ -n "${DISPLAY-}" ] && timeout 5 xdpyinfo >/dev/null 2>&1; }; then
    echo "There is no display here: recording the demonstration instead."
    demo=1
fi
if [ "$demo" = 0 ]; then
    tools/build.sh dev --target PodiumcastRecorder
    exec build/dev/src/app/PodiumcastRecorder
fi

tools/install-dependencies.sh tools/packages.txt tools/packages-test.txt
targets=(PodiumcastRecorder DeckPlayer) service=''
[ "$live" = 0 ] || { targets+=(podiumcast-test-service); service=build/dev/tools/service/podiumcast-test-service; }
tools/build.sh dev --target "${targets[@]}"
export LC_ALL=C.UTF-8
exec tests/harness/desktop.sh --audio -- /usr/bin/python3 tools/demo/demo.py \
    --recorder build/dev/src/app/PodiumcastRecorder --player build/dev/tools/demo/DeckPlayer \
    --deck "$deck" --seconds-per-slide "$seconds" --output "$output" \
    --service "$service"
