#!/usr/bin/env bash
# Runs the benchmarks: our decoders and colour routines beside the peer
# libraries (libjpeg-turbo, libpng, libspng, giflib, libtiff, ImageMagick,
# djpeg) on the same 12-megapixel files, each printing both sides and their
# ratio. The files are generated once into build-bench/files (about 1 GB
# with the 100 JPEGs of the thumbnail run).
#
# Usage: scripts/bench.sh [jpeg|gif_png|tiff|color|thumbnails]...   (default: all)
# The machine should be otherwise idle: the figures are CPU times.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
bash scripts/setup.sh all
export VANTIREL_CORPUS_DIR=${VANTIREL_CORPUS_DIR:-$root/../shared/corpus}

build=build-bench
files=$build/files
cmake -S . -B "$build" -G Ninja -DVANTIREL_BENCH=ON -DVANTIREL_TESTS=OFF \
  -DCMAKE_BUILD_TYPE=Release >/dev/null
ninja -C "$build" -j "$(nproc 2>/dev/null || echo 2)" >/dev/null

which=("$@")
[[ ${#which[@]} -gt 0 ]] || which=(jpeg gif_png tiff color thumbnails)
for name in "${which[@]}"; do
  echo
  echo "=== $name   (load average: $(cut -d' ' -f1-3 /proc/loadavg))"
  case $name in
    jpeg)
      [[ -f $files/jpeg/photo-420.jpg ]] || sh bench/make_jpeg_files.sh "$files/jpeg" >/dev/null
      "$build/bench/bench_jpeg" "$files"/jpeg/photo-*.jpg ;;
    gif_png)
      [[ -d $files/gif_png ]] || bash bench/make_gif_png_files.sh "$files/gif_png" >/dev/null
      "$build/bench/bench_gif_png" "$files"/gif_png/*.png "$files"/gif_png/*.gif ;;
    tiff)
      [[ -d $files/tiff ]] || bash bench/make_tiff_files.sh "$files/tiff" >/dev/null
      "$build/bench/bench_tiff" "$files"/tiff/*.tif ;;
    color)
      "$build/bench/bench_color" ;;
    thumbnails)
      [[ -d $files/thumbnails ]] || sh bench/make_thumbnail_files.sh "$files/thumbnails" >/dev/null
      "$build/bench/bench_thumbnails" "$files"/thumbnails/*.jpg ;;
    *)
      echo "unknown benchmark: $name" >&2
      exit 2 ;;
  esac
done
