#!/usr/bin/env bash
# Runs a test executable under Wine. It passes only if it exits 0 and GoogleTest printed its
# summary: a test program that dies in the middle of its run can still leave status 0 under Wine.
set -uo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
output=$(mktemp)
trap 'rm -f "$output"' EXIT
"$repo/scripts/wine-run.sh" "$@" 2>&1 | tee "$output"
status=${PIPESTATUS[0]}
[ "$status" -eq 0 ] || exit "$status"
if ! grep -q '^\[  PASSED  \]' "$output"; then
  echo "gtest-run: $1 ended without GoogleTest's summary" >&2
  exit 1
fi
