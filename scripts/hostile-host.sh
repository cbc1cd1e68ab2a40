#!/usr/bin/env bash
# Hostile host: one camera filter in a test process takes random and malformed calls (media types
# with random sizes, bit counts, subtypes, format types and format lengths; SetFormat,
# CheckMediaType, GetStreamCaps with random indices; SetOutputWidthHeight with random pairs;
# state changes in random order) for [seconds] (default 120), while the reference mixer is started
# and killed in between. Stops by itself; prints the seed and what was left over, and, on a
# crash, the last calls; exits non-zero on a crash (a write past a sample faults on the page
# after it), a hang, live objects or references left, or the camera still claimed after the
# last stop.
#   scripts/hostile-host.sh [seconds] [seed]
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZARN_BUILD_DIR:-$repo/build}
seconds=${1:-120}
seed=${2:-$(( (RANDOM << 15 | RANDOM) + 1 ))}
if [ ! -f "$build/build.ninja" ]; then
  "$repo/scripts/setup.sh"
  "$repo/scripts/build.sh"
else
  cmake --build "$build" --target hostile_host_test zarnmixer-sim
fi
echo "== ${seconds}s of hostile host calls, seed $seed (again with: $0 $seconds $seed)"
export WINEPREFIX=$build/hostile-host-prefix
trap 'WINEPREFIX=$WINEPREFIX wineserver -k >/dev/null 2>&1 || true' EXIT
ZARN_HOSTILE_HOST_SECONDS=$seconds ZARN_HOSTILE_HOST_SEED=$seed \
  timeout $((seconds + 300)) "$repo/scripts/gtest-run.sh" "$build/bin/hostile_host_test.exe"
