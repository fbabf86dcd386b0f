#!/usr/bin/env bash
# Draws every page of the window into docs/images (or into the directory given), on a virtual
# screen that shows a slide, beside a virtual microphone. Needs a configured build directory: build/dev or $BUILD_DIR.
set -eu
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build/dev} target=${1:-docs/images}
cmake --build "$build" --target screenshots
export QT_QPA_PLATFORM=xcb QT_QUICK_BACKEND=software LC_ALL=C.UTF-8
tests/harness/desktop.sh --audio -- bash -eu -c '
    slide=$(mktemp --suffix=.png)
    trap "rm -f \"$slide\"" EXIT
    convert -size 1920x1080 gradient:"#1d3b66"-"#0a1630" \
        -font Roboto-Bold -fill white -pointsize 120 -annotate +700+420 "How a talk\nbecomes a podcast" \
        -font Roboto -fill "#9fc3f5" -pointsize 56 -annotate +700+740 "Opening lecture" \
        -fill "#d00026" -draw "circle 380,540 380,360" "$slide"
    display -window root "$slide" || true # ends with 1 also when it succeeds
    "$1/tools/screenshots/screenshots" "$2"
' bash "$build" "$target"
