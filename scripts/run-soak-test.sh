#!/usr/bin/env bash
# Runs one group of the soak tests in a Wine prefix of its own under build/, so that its named
# regions, events and registration meet no other run's, within a time bound; what the tests read
# from the environment (ZARN_SOAK_*, ZARN_HOSTILE_*) passes through. Builds what they need first:
# the whole tree on a fresh machine, else the camera, the tools and the tests.
#   scripts/run-soak-test.sh <prefix-name> <seconds> <gtest-filter>
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZARN_BUILD_DIR:-$repo/build}
if [ ! -f "$build/build.ninja" ]; then
  "$repo/scripts/setup.sh"
  "$repo/scripts/build.sh"
else
  cmake --build "$build" --target ZarnVirtualCam zarncam-probe zarnmixer-sim zarnmixer-hostile soak_test
fi
export WINEPREFIX=$build/$1-prefix
trap 'WINEPREFIX=$WINEPREFIX wineserver -k >/dev/null 2>&1 || true' EXIT
timeout "$2" "$repo/scripts/gtest-run.sh" "$build/bin/soak_test.exe" --gtest_filter="$3"
