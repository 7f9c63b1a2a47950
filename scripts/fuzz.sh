#!/usr/bin/env bash
# Longer fuzzing: every libFuzzer target for SECONDS (default 600) each,
# seeded with the sample corpus and the regression files. Findings are left
# in out/fuzz/<target>/.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
seconds=${1:-600}
bash scripts/setup.sh all
cmake -S . -B build-fuzz -G Ninja -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DVANTIREL_FUZZ=ON >/dev/null
ninja -C build-fuzz
seeds="$root/out/fuzz/seeds"
mkdir -p "$seeds"
find "${VANTIREL_CORPUS_DIR:-$root/../shared/corpus}" "$root/tests/data" -type f ! -name '*.tsv' ! -name '*.md' \
  -exec cp -t "$seeds" {} + 2>/dev/null || true
for target in build-fuzz/fuzz/fuzz_*; do
  [[ -x "$target" ]] || continue
  name=$(basename "$target")
  work="$root/out/fuzz/$name"
  mkdir -p "$work/corpus"
  echo "== $name"
  (cd "$work" && ASAN_OPTIONS=allocator_may_return_null=1 "$root/$target" \
    -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 "$work/corpus" "$seeds") || true
done
