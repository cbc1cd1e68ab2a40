#!/usr/bin/env bash
# Installs, builds and runs every test under Wine (with an Xvfb display for the GPU tests).
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZARN_BUILD_DIR:-$repo/build}

"$repo/scripts/setup.sh"
"$repo/scripts/build.sh"

display=:$(( 90 + RANDOM % 400 ))
Xvfb "$display" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
xvfb_pid=$!
export WINEPREFIX=${ZARN_WINEPREFIX:-$build/wineprefix}
# The end-to-end and soak tests run in prefixes of their own (see cmake/ZarnTest.cmake).
stop_all() {
  for prefix in "$WINEPREFIX" "$build/e2e-prefix" "$build/soak-prefix"; do
    WINEPREFIX=$prefix wineserver -k >/dev/null 2>&1 || true
  done
  kill "$xvfb_pid" 2>/dev/null || true
}
trap stop_all EXIT
export DISPLAY=$display

# One persistent wineserver for the whole run, so each test starts faster; it also makes the
# prefix on first use.
"$repo/scripts/wine-run.sh" cmd /c exit >/dev/null 2>&1 || true
WINEPREFIX=$WINEPREFIX wineserver -p 2>/dev/null || true

cd "$build"
# Most tests wait on Wine and on each other's processes more than they compute.
ctest --output-on-failure -j 3 "$@"
# The committed seeds and a few seconds of new inputs; scripts/fuzz.sh 3600 is the long run.
"$repo/scripts/fuzz.sh" 5
