#!/usr/bin/env bash
# Writes the benchmark's TIFF files (4000 x 3000 RGB, 12 MP, one row a
# strip as tiffcp makes them) into DIR:
#   rgb-*.tif    a plasma fractal blurred a little: so fine-grained that
#                LZW makes it longer than the pixels, the hardest case for
#                an LZW decoder; uncompressed, LZW, LZW with the horizontal
#                predictor, PackBits;
#   photo-*.tif  a photo of flowers from the sample corpus, enlarged, with
#                a little sensor-like noise: what users open; LZW and LZW
#                with the predictor.
# Usage: bench/make_tiff_files.sh DIR
# The corpus is VANTIREL_CORPUS_DIR, or ../shared/corpus beside the sources.
set -euo pipefail
dir=${1:?usage: make_tiff_files.sh DIR}
corpus=${VANTIREL_CORPUS_DIR:-$(dirname "$0")/../../shared/corpus}
photo="$corpus/jpeg/pillow-flower2.jpg"
if [ ! -f "$photo" ]; then
  echo "make_tiff_files.sh: $photo not found (set VANTIREL_CORPUS_DIR)" >&2
  exit 1
fi
mkdir -p "$dir"

convert -seed 7 -size 4000x3000 plasma:fractal -blur 0x1 -depth 8 "$dir/source.ppm"
pnmtotiff "$dir/source.ppm" > "$dir/source.tif" 2>/dev/null
tiffcp -c none "$dir/source.tif" "$dir/rgb-none.tif"
tiffcp -c lzw "$dir/source.tif" "$dir/rgb-lzw.tif"
tiffcp -c lzw:2 "$dir/source.tif" "$dir/rgb-lzw-predictor.tif"
tiffcp -c packbits "$dir/source.tif" "$dir/rgb-packbits.tif"

convert "$photo" -filter Lanczos -resize '4000x3000!' -seed 7 -attenuate 0.04 +noise Gaussian \
  -depth 8 "$dir/source.ppm"
pnmtotiff "$dir/source.ppm" > "$dir/source.tif" 2>/dev/null
tiffcp -c lzw "$dir/source.tif" "$dir/photo-lzw.tif"
tiffcp -c lzw:2 "$dir/source.tif" "$dir/photo-lzw-predictor.tif"

rm -f "$dir/source.ppm" "$dir/source.tif"
ls -l "$dir"/rgb-*.tif "$dir"/photo-*.tif
