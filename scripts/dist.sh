#!/usr/bin/env bash
# Builds the distribution: the program's folder as users receive it and a zip
# of it. VANTIREL/ holds VANTIREL.EXE from the 32-bit (i686) build, the
# program's own platform; VANTIREL64/ beside it the 64-bit build, the one the
# tests run under Wine. Each folder also holds README.TXT, FILE_ID.DIZ and the
# sample VANTIREL.JPG. Result: build-win32/distribution/VANTIREL30.ZIP.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
bash scripts/setup.sh run >&2 || { echo "setup failed" >&2; exit 1; }
jobs=$(nproc 2>/dev/null || echo 2)

cmake -S . -B build-win64 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake >/dev/null
ninja -C build-win64 -j "$jobs" Vantirel
cmake -S . -B build-win32 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-i686.cmake \
  -DVANTIREL_TESTS=OFF -DVANTIREL_COMPANION_PROGRAM="$root/build-win64/Vantirel.exe" >/dev/null
ninja -C build-win32 -j "$jobs" distribution
echo "$root/build-win32/distribution/VANTIREL30.ZIP"
