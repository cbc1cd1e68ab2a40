#!/usr/bin/env bash
# Runs a Windows program under Wine in the project's own prefix, creating the prefix once.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${WINEPREFIX:-${ZARN_WINEPREFIX:-$repo/build/wineprefix}}
export WINEDEBUG=${WINEDEBUG:--all}
# No Mono or Gecko prompts: nothing here needs them. No crash debugger either: with a display
# it holds a crashed program on a dialog until some time limit, instead of letting it end.
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=;winedbg.exe=d}

if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$(dirname "$WINEPREFIX")"
  (
    flock 9
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
      wineboot -i >/dev/null 2>&1 || true
      wineserver -w
    fi
  ) 9>"$WINEPREFIX.lock"
fi
exec wine "$@"
