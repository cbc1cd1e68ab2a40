#!/usr/bin/env bash
# Builds the pure parts natively in build/native under AddressSanitizer and
# UndefinedBehaviorSanitizer, runs their unit tests, then each fuzz target for $1 seconds
# (default 60): first every input of its committed seeds (tests/fuzz/corpus/<target>) and of
# what earlier runs kept (build/native/corpus/<target>), then new ones for the rest of the time.
# Findings go to build/native/findings. Exits non-zero if a test fails or a target finds anything.
# The seeds are what a minute's run kept, minimised into an empty tests/fuzz/corpus/<target> by
#   build/native/<target> -merge=1 tests/fuzz/corpus/<target> build/native/corpus/<target>
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
seconds=${1:-60}
build=${ZARN_NATIVE_BUILD_DIR:-$repo/build/native}
targets=(record_plain_fuzz record_sealed_fuzz list_file_fuzz scale_frame_fuzz)

"$repo/scripts/fetch-libyuv.sh" "$repo/build/_deps/libyuv"
if [ ! -f "$build/build.ninja" ]; then
  cmake -S "$repo/tests/native" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE= \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
fi
cmake --build "$build" -j "$(nproc)"

"$build/native_unit_tests" --gtest_brief=1

failed=0
mkdir -p "$build/findings"
for target in "${targets[@]}"; do
  mkdir -p "$build/corpus/$target"
  log="$build/$target.log"
  if "$build/$target" -max_total_time="$seconds" -print_final_stats=1 -close_fd_mask=1 \
      -artifact_prefix="$build/findings/$target-" "$build/corpus/$target" \
      "$repo/tests/fuzz/corpus/$target" >"$log" 2>&1; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
    coverage=$(grep -o "cov: [0-9]*" "$log" | tail -1 || true)
    seeds=$(sed -n 's/^INFO: seed corpus: files: \([0-9]*\).*/\1/p' "$log")
    echo "$target: $seeds inputs replayed, $runs runs, $rate/s, $coverage"
  else
    failed=1
    echo "$target: FINDING (log $log)"
    grep -m 20 -E 'ERROR|SUMMARY|runtime error|#[0-9]+ 0x' "$log" || tail -20 "$log"
  fi
done
exit $failed
