#!/usr/bin/env bash
# Builds and runs the whole test suite three ways:
#   1. Release build, every kernel variant the processor has;
#   2. the same binaries with the lumcore switch forcing the portable kernels;
#   3. an AddressSanitizer + UndefinedBehaviorSanitizer build;
#   4. each libFuzzer harness for a short run (LUMDC_FUZZ_SECONDS, default 15).
# Also checks formatting. LUMDC_LONG_TESTS=1 adds the long soak runs and fuzzes
# each harness for ten minutes.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
jobs=${LUMDC_JOBS:-2}
long=${LUMDC_LONG_TESTS:-0}
[ "$long" = 1 ] && long=ON || long=OFF

echo "== Release"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DLUMDC_BUILD_TESTS=ON -DLUMDC_BUILD_BENCH=ON \
  -DLUMDC_WERROR=ON -DLUMDC_LONG_TESTS=$long >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build -j"$jobs" --output-on-failure

echo "== Release, portable kernels only (LUMCORE_FEATURES=0)"
LUMCORE_FEATURES=0 ctest --test-dir build -j"$jobs" --output-on-failure

echo "== AddressSanitizer + UndefinedBehaviorSanitizer"
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMDC_BUILD_TESTS=ON \
  -DLUMDC_SANITIZE=address,undefined -DLUMDC_WERROR=ON -DLUMDC_LONG_TESTS=$long >/dev/null
cmake --build build-asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan -j"$jobs" --output-on-failure

echo "== Fuzz harnesses under libFuzzer (clang), ${LUMDC_FUZZ_SECONDS:-15} s each"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMDC_BUILD_TESTS=OFF \
  -DLUMDC_BUILD_TOOLS=OFF -DLUMDC_BUILD_FUZZ=ON -DLUMDC_SANITIZE=address,undefined -DLUMDC_WERROR=ON >/dev/null
cmake --build build-fuzz -j"$jobs"
seconds=${LUMDC_FUZZ_SECONDS:-15}
[ "$long" = ON ] && seconds=${LUMDC_FUZZ_SECONDS:-600}
for harness in build-fuzz/fuzz/fuzz_*; do
  [[ -x $harness && $harness != *.log ]] || continue  # logs of an earlier run sit beside them
  log="$harness.log"
  if ! "$harness" -max_total_time="$seconds" -max_len=70000 -artifact_prefix=build-fuzz/ >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "$(basename "$harness") failed; the input is saved under build-fuzz/"
    exit 1
  fi
  echo "$(basename "$harness"): $(grep -E '^Done [0-9]+ runs' "$log")"
done

echo "== Formatting"
scripts/check_format.sh

echo "all test runs passed"
