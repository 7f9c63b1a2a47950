#!/usr/bin/env bash
# Writes the benchmark's TIFF files (4000 x 3000 RGB, 12 MP) into DIR:
# uncompressed, LZW, LZW with the horizontal predictor, PackBits.
# Usage: bench/make_tiff_files.sh DIR
set -euo pipefail
dir=${1:?usage: make_tiff_files.sh DIR}
mkdir -p "$dir"
# A plasma fractal, blurred a little: smooth areas and detail, like a photo.
convert -seed 7 -size 4000x3000 plasma:fractal -blur 0x1 -depth 8 "$dir/source.ppm"
pnmtotiff "$dir/source.ppm" > "$dir/source.tif" 2>/dev/null
tiffcp -c none "$dir/source.tif" "$dir/rgb-none.tif"
tiffcp -c lzw "$dir/source.tif" "$dir/rgb-lzw.tif"
tiffcp -c lzw:2 "$dir/source.tif" "$dir/rgb-lzw-predictor.tif"
tiffcp -c packbits "$dir/source.tif" "$dir/rgb-packbits.tif"
rm -f "$dir/source.ppm" "$dir/source.tif"
ls "$dir"/rgb-*.tif
