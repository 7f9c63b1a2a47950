#!/usr/bin/env bash
# Writes the benchmark pictures into DIR (default out/bench): a ~12 MP
# photo-like picture as 8-bit RGB PNG, palette PNG, and 256-colour GIF plain
# and interlaced. Needs ImageMagick.
set -euo pipefail
dir=${1:-out/bench}
mkdir -p "$dir"
src="$dir/source.miff"
# Smoothed plasma: large soft areas with fine detail, like a photograph.
convert -size 4000x3000 -seed 1 plasma:fractal -blur 0x3 \
  \( -size 4000x3000 -seed 2 plasma:fractal -blur 0x1 \) -compose blend \
  -define compose:args=70 -composite "$src"
convert "$src" -define png:color-type=2 -define png:bit-depth=8 "$dir/photo-rgb.png"
# One quantisation for every palette file, so they hold the same picture.
convert "$src" -colors 256 "$dir/quantised.miff"
convert "$dir/quantised.miff" PNG8:"$dir/photo-palette.png"
convert "$dir/quantised.miff" "$dir/photo-256.gif"
convert "$dir/quantised.miff" -interlace GIF "$dir/photo-256-interlaced.gif"
rm -f "$src" "$dir/quantised.miff"
ls -l "$dir"
