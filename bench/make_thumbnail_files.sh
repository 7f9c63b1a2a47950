#!/bin/sh
# Makes the thumbnail benchmark's files: COUNT (100) photo-like JPEGs of
# 4000 x 3000 (12 megapixels), 4:2:0, qualities 70 to 94. Four pictures (the
# plasma picture of make_jpeg_files.sh and three flips of it) times 25
# qualities, so no two files are alike.
# Usage: bench/make_thumbnail_files.sh OUTDIR [COUNT]
set -e
out=${1:-bench-thumbnails}
count=${2:-100}
mkdir -p "$out"
if [ ! -f "$out/source.ppm" ]; then
  convert -seed 11 -size 4000x3000 plasma:fractal -blur 0x2 \
    -attenuate 0.4 +noise Gaussian "$out/source.ppm"
fi
for flip in none lr tb r180; do
  if [ ! -f "$out/source-$flip.ppm" ]; then
    case $flip in
      none) cp "$out/source.ppm" "$out/source-$flip.ppm" ;;
      lr) pamflip -lr "$out/source.ppm" > "$out/source-$flip.ppm" ;;
      tb) pamflip -tb "$out/source.ppm" > "$out/source-$flip.ppm" ;;
      r180) pamflip -r180 "$out/source.ppm" > "$out/source-$flip.ppm" ;;
    esac
  fi
done
i=0
while [ "$i" -lt "$count" ]; do
  case $((i % 4)) in
    0) flip=none ;;
    1) flip=lr ;;
    2) flip=tb ;;
    3) flip=r180 ;;
  esac
  name=$(printf "%s/photo%03d.jpg" "$out" "$i")
  [ -f "$name" ] || cjpeg -quality $((70 + i / 4)) -sample 2x2 "$out/source-$flip.ppm" > "$name"
  i=$((i + 1))
done
ls "$out"/photo*.jpg | wc -l
du -sh "$out"
