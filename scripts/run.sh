#!/usr/bin/env bash
# The main job: install, build, and show what was built and that the module loads on a stock Windows.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZARN_BUILD_DIR:-$repo/build}

"$repo/scripts/setup.sh"
"$repo/scripts/build.sh"

module=$build/bin/ZarnVirtualCam.ax
echo
echo "Module: $module"
echo "DLLs it imports (all must ship with Windows):"
x86_64-w64-mingw32-objdump -p "$module" | sed -n 's/^\s*DLL Name: /  /p'
echo "Exports:"
x86_64-w64-mingw32-objdump -p "$module" | awk '/\[Ordinal\/Name Pointer\] Table/{on=1;next} on&&NF==0{exit} on{print "  "$NF}'
echo
echo "Tools and tests: $build/bin"
