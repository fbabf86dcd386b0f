#!/usr/bin/env bash
# Draws the slide that the benchmarks show: a gradient, a photograph and text.
#   bench/slide.sh FILE.png
set -eu
convert -seed 1 -size 3840x2160 gradient:white-lightblue \
    \( -size 1600x1200 plasma:orange-navy \) -geometry +2000+700 -composite \
    -fill black -pointsize 120 -annotate +200+500 'What a recorder sees,\nonce a second:\n\n- a gradient\n- a picture\n- some text' \
    -depth 8 "$1"
