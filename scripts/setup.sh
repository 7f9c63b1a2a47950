#!/usr/bin/env bash
# Installs what building and testing Vantirel needs on Debian 12. Idempotent
# and quiet when nothing is missing. Usage: scripts/setup.sh [build|test|all]
set -euo pipefail
what=${1:-all}

build_packages=(cmake ninja-build g++ zlib1g-dev)
test_packages=(googletest libgtest-dev
  clang-14 libclang-rt-14-dev
  mingw-w64 g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix libz-mingw-w64-dev
  wine wine64 xvfb xdotool x11-apps
  imagemagick netpbm libjpeg-turbo-progs libtiff-tools giflib-tools python3-pil python3-numpy
  libturbojpeg0-dev libpng-dev libspng-dev libgif-dev libtiff-dev
  cups printer-driver-cups-pdf poppler-utils)
run_packages=(wine wine64 xvfb mingw-w64 g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix
  libz-mingw-w64-dev xdotool imagemagick)

case "$what" in
  build) wanted=("${build_packages[@]}") ;;
  run) wanted=("${build_packages[@]}" "${run_packages[@]}") ;;
  *) wanted=("${build_packages[@]}" "${test_packages[@]}") ;;
esac

missing=()
for package in "${wanted[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing: ${missing[*]}" >&2
SUDO=""
[[ $(id -u) -eq 0 ]] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq >/dev/null
$SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
