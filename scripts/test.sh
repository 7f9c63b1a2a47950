#!/usr/bin/env bash
# Builds everything and runs every test:
#   1. native build (g++): the library, vantirel-cli, the tests (ctest)
#   2. Windows x86_64 build (mingw-w64): the same tests and the Windows tests, run under Wine
#   3. the main job (scripts/run.sh) without a display: the viewer shows the sample picture
#   4. Windows i686 build: compiled only (this machine's Wine runs 64-bit programs only)
#   5. the JPEG decoder's portable code (what the i686 build runs instead of its SSE2
#      paths): a native build of the tests with VANTIREL_PORTABLE_ONLY, JPEG tests only
#   6. libFuzzer targets (clang, ASan, UBSan): a short pass over each, seeded with the corpus
# Ends with one line "N passed, N failed" over all test runs; exits non-zero on any failure.
set -uo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
bash scripts/setup.sh all || { echo "setup failed" >&2; exit 1; }

jobs=$(nproc 2>/dev/null || echo 2)
fuzz_seconds=${VANTIREL_FUZZ_SECONDS:-15}
export WINEDEBUG=-all
export WINEPREFIX=${WINEPREFIX:-$root/build-win64/wineprefix}
export GTEST_COLOR=no

passed=0
failed=0
problems=()

# Runs ctest in a build directory and adds its counts to the totals.
run_ctest() {
  local dir=$1 label=$2 log
  shift 2  # further arguments go to ctest (a -R selection)
  log=$(mktemp)
  (cd "$dir" && ctest --output-on-failure --timeout 300 -j "$jobs" "$@") 2>&1 | tee "$log" |
    grep -vE '^ *([0-9]+\/[0-9]+ Test +#[0-9]+: .*(Passed|Skipped)|Start +[0-9]+:)|\(Skipped\)$|^The following tests did not run:$'
  # Skips are expected where an oracle tool does not exist (the Windows run
  # has none of the Linux decoders): counted, not listed.
  echo "$label: $(grep -cE '\(Skipped\)$' "$log") tests skipped"
  local line total bad
  line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -1)
  if [[ -z "$line" ]]; then
    problems+=("$label: ctest did not run")
    failed=$((failed + 1))
  else
    bad=$(sed -E 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1/' <<<"$line")
    total=$(sed -E 's/.* failed out of ([0-9]+).*/\1/' <<<"$line")
    if [[ $bad -gt 0 && -n "${retry_failed:-}" ]]; then
      # Under Wine a test process now and then dies before it runs (no
      # output at all); the failed ones get one more run. What fails again
      # counts; what passes is named above with its first output.
      echo "$label: running the $bad failed tests once more"
      local again
      again=$( (cd "$dir" && ctest --output-on-failure --timeout 300 --rerun-failed) 2>&1 |
        tee /dev/stderr | grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' | tail -1)
      if [[ -n "$again" ]]; then
        bad=$(sed -E 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1/' <<<"$again")
        echo "$label: $bad still failing on the second run"
      fi
    fi
    passed=$((passed + total - bad))
    failed=$((failed + bad))
    [[ $bad -eq 0 ]] || problems+=("$label: $bad failed")
  fi
  rm -f "$log"
}

step() { echo; echo "=== $*"; }

build() {  # build DIR LABEL cmake-args...
  local dir=$1 label=$2; shift 2
  if ! cmake -S . -B "$dir" -G Ninja "$@" >/dev/null || ! ninja -C "$dir" -j "$jobs" >"$dir.build.log" 2>&1; then
    tail -40 "$dir.build.log" 2>/dev/null
    problems+=("$label: build failed")
    failed=$((failed + 1))
    return 1
  fi
  grep -E 'warning:' "$dir.build.log" | head -20
  return 0
}

step "Native build and tests"
if build build native; then run_ctest build native; fi

step "Windows x86_64 build, tests under Wine"
if build build-win64 win64 -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake; then
  if [[ -z "${DISPLAY:-}" ]] && command -v Xvfb >/dev/null; then
    # Window tests need a display; give them a virtual one for this run, on
    # a number no other X server holds.
    number=97
    while [[ -e /tmp/.X$number-lock ]]; do number=$((number + 1)); done
    Xvfb ":$number" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 &
    xvfb_pid=$!
    export DISPLAY=":$number"
    for _ in $(seq 50); do [[ -e /tmp/.X11-unix/X$number ]] && break; sleep 0.1; done
  fi
  # The prefix is set up with the display in place: processes its set-up
  # leaves running would otherwise have no display driver, and the tests'
  # windows would join them. Whatever it leaves is ended all the same.
  mkdir -p "$WINEPREFIX"
  wineboot -i >/dev/null 2>&1 || true
  wineserver -k >/dev/null 2>&1 || true
  retry_failed=1 run_ctest build-win64 win64
  wineserver -k >/dev/null 2>&1 || true
  [[ -n "${xvfb_pid:-}" ]] && kill "$xvfb_pid" 2>/dev/null
fi

step "Main job: the viewer on the sample picture, headless"
if env -u DISPLAY WINEPREFIX="$root/build-viewer/wineprefix" timeout 600 bash scripts/run.sh; then
  passed=$((passed + 1))
else
  problems+=("main job: scripts/run.sh failed")
  failed=$((failed + 1))
fi

step "Windows i686 build (compile only)"
if build build-win32 win32 -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-i686.cmake -DVANTIREL_TESTS=OFF; then
  echo "i686 build compiled"
  passed=$((passed + 1))
fi

step "JPEG decoder's portable code (native build without its SSE2 paths), JPEG tests"
if cmake -S . -B build-portable -G Ninja -DVANTIREL_PORTABLE_ONLY=ON >/dev/null &&
   ninja -C build-portable -j "$jobs" vantirel_tests >build-portable.build.log 2>&1; then
  grep -E 'warning:' build-portable.build.log | head -20
  run_ctest build-portable portable -R Jpeg
else
  tail -40 build-portable.build.log 2>/dev/null
  problems+=("portable: build failed")
  failed=$((failed + 1))
fi

step "Fuzz targets, ${fuzz_seconds}s each"
if build build-fuzz fuzz -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 -DVANTIREL_FUZZ=ON; then
  seeds=$(mktemp -d)
  find "${VANTIREL_CORPUS_DIR:-$root/../shared/corpus}" "$root/tests/data" -type f ! -name '*.tsv' ! -name '*.md' -exec cp -t "$seeds" {} + 2>/dev/null
  for target in build-fuzz/fuzz/fuzz_*; do
    [[ -x "$target" ]] || continue
    name=$(basename "$target")
    work=$(mktemp -d)
    if (cd "$work" && ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1 \
        "$root/$target" -max_total_time="$fuzz_seconds" -rss_limit_mb=2048 -timeout=10 \
        -print_final_stats=0 "$work" "$seeds" >"$work/log" 2>&1); then
      echo "$name: clean ($(grep -oE 'Done [0-9]+ runs' "$work/log" | head -1))"
      passed=$((passed + 1))
    else
      echo "$name: FAILED"; tail -30 "$work/log"
      ls "$work"/crash-* "$work"/timeout-* "$work"/leak-* "$work"/oom-* 2>/dev/null
      problems+=("fuzz: $name")
      failed=$((failed + 1))
    fi
  done
  rm -rf "$seeds"
fi

echo
for p in "${problems[@]}"; do echo "PROBLEM: $p"; done
echo "$passed passed, $failed failed"
[[ $failed -eq 0 ]]
