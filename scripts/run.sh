#!/usr/bin/env bash
# The main job: Vantirel on the bundled sample picture. Builds what is
# missing first. Until the window program is built this runs vantirel-cli:
# the picture's information line, then a conversion to a Windows bitmap.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh build
cmake -S . -B build-run -G Ninja -DVANTIREL_TESTS=OFF >/dev/null
ninja -C build-run vantirel-cli >/dev/null
sample=samples/VANTIREL.BMP
./build-run/cli/vantirel-cli info "$sample"
mkdir -p out
./build-run/cli/vantirel-cli convert "$sample" out/VANTIREL-converted.bmp
echo "Wrote out/VANTIREL-converted.bmp"
