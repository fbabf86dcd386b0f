#!/usr/bin/env bash
# Draws the pictures that the repository holds: the window's images (src/ui/qml/images) and the
# application's icon (data/icons). Needs rsvg-convert and convert (Debian: librsvg2-bin, imagemagick).
set -eu
cd "$(dirname "$0")/.."
images=src/ui/qml/images icons=data/icons
mkdir -p "$images" "$icons"

# draw <file.png> <size> < svg
draw() { rsvg-convert --width "$2" --height "$2" --output "$1"; }

record_button() { # <light> <dark> <ring>
    cat <<SVG
<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 240 240">
  <defs>
    <radialGradient id="face" cx="0.42" cy="0.34" r="0.75">
      <stop offset="0" stop-color="$1"/><stop offset="1" stop-color="$2"/>
    </radialGradient>
  </defs>
  <circle cx="120" cy="120" r="112" fill="none" stroke="$3" stroke-width="8"/>
  <circle cx="120" cy="120" r="92" fill="url(#face)"/>
</svg>
SVG
}
record_button '#ff4a58' '#d00026' '#ffffff' | draw "$images/recording_button.png" 240
record_button '#ff6b76' '#e0102f' '#ff8a94' | draw "$images/recording_button--hover.png" 240

# Two opposite arcs: half a turn looks like a whole one, so the animation repeats seamlessly.
draw "$images/loader_bg.png" 144 <<'SVG'
<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 144 144">
  <circle cx="72" cy="72" r="62" fill="none" stroke="#2a2840" stroke-width="12"/>
</svg>
SVG
draw "$images/loader_fg.png" 144 <<'SVG'
<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 144 144">
  <g fill="none" stroke="#0F74E8" stroke-width="12" stroke-linecap="round">
    <path d="M 72 10 A 62 62 0 0 1 134 72"/>
    <path d="M 72 134 A 62 62 0 0 1 10 72"/>
  </g>
</svg>
SVG

cat > "$icons/podiumcast-recorder.svg" <<'SVG'
<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 256 256">
  <defs>
    <linearGradient id="ground" x1="0" y1="0" x2="0" y2="1">
      <stop offset="0" stop-color="#2b8bff"/><stop offset="1" stop-color="#0a57b4"/>
    </linearGradient>
    <radialGradient id="dot" cx="0.42" cy="0.34" r="0.75">
      <stop offset="0" stop-color="#ff4a58"/><stop offset="1" stop-color="#d00026"/>
    </radialGradient>
  </defs>
  <rect x="12" y="12" width="232" height="232" rx="52" fill="url(#ground)"/>
  <path d="M 64 66 H 192 a 12 12 0 0 1 12 12 V 150 a 12 12 0 0 1 -12 12 H 64 a 12 12 0 0 1 -12 -12 V 78 a 12 12 0 0 1 12 -12 Z" fill="#fff"/>
  <path d="M 120 162 h 16 v 24 h 28 v 16 h -72 v -16 h 28 Z" fill="#fff"/>
  <circle cx="128" cy="114" r="32" fill="url(#dot)"/>
</svg>
SVG
for size in 16 24 32 48 64 128 256; do
    draw "$icons/podiumcast-recorder-$size.png" "$size" < "$icons/podiumcast-recorder.svg"
done
convert "$icons"/podiumcast-recorder-{16,24,32,48,64,128,256}.png "$icons/podiumcast-recorder.ico"
