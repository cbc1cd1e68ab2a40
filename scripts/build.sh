#!/usr/bin/env bash
# Configures (once) and builds everything into build/.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZARN_BUILD_DIR:-$repo/build}
if [ ! -f "$build/build.ninja" ]; then
  cmake -S "$repo" -B "$build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$repo/cmake/mingw-w64-x86_64.cmake" "$@"
fi
cmake --build "$build" -j "$(nproc)"
