#!/bin/sh
# Makes the benchmark's JPEG files: a ~12-megapixel photo-like picture
# (ImageMagick plasma with fine noise, so the entropy coder has real work)
# encoded with cjpeg at quality 90 as 4:2:0, 4:4:4 and greyscale.
# Usage: bench/make_jpeg_files.sh OUTDIR
set -e
out=${1:-bench-files}
mkdir -p "$out"
if [ ! -f "$out/source.ppm" ]; then
  convert -seed 7 -size 4000x3000 plasma:fractal -blur 0x2 \
    -attenuate 0.4 +noise Gaussian "$out/source.ppm"
fi
cjpeg -quality 90 -sample 2x2 "$out/source.ppm" > "$out/photo-420.jpg"
cjpeg -quality 90 -sample 1x1 "$out/source.ppm" > "$out/photo-444.jpg"
cjpeg -quality 90 -grayscale "$out/source.ppm" > "$out/photo-grey.jpg"
ls -l "$out"/*.jpg
