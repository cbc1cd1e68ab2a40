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
stop_all() {
  WINEPREFIX=$WINEPREFIX wineserver -k >/dev/null 2>&1 || true
  kill "$xvfb_pid" 2>/dev/null || true
}
trap stop_all EXIT
export DISPLAY=$display

# One persistent wineserver for the whole run, so each test starts faster; it also makes the
# prefix on first use.
"$repo/scripts/wine-run.sh" cmd /c exit >/dev/null 2>&1 || true
WINEPREFIX=$WINEPREFIX wineserver -p 2>/dev/null || true

cd "$build"
ctest --output-on-failure -j 2 "$@"
"$repo/scripts/fuzz.sh" 60
