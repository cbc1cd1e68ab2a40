#!/usr/bin/env bash
# Soak: a real host (zarncam-probe) opens the registered camera from the device list, sets a
# format that changes every cycle, runs, stops and releases it, [cycles] times (default 200),
# while the reference mixer is killed and restarted every [restart-every] cycles (default 5).
# Stops by itself; prints cycles done, crashes, frames delivered, the host's handle count after
# the first and the last cycle, and the camera's claim after the last stop; exits non-zero when
# a host crashed or hung, a cycle failed, handles grew or the claim stayed.
#   scripts/soak.sh [cycles] [restart-every]
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cycles=${1:-200}
every=${2:-5}
echo "== $cycles cycles, the mixer restarted every $every"
ZARN_SOAK_CYCLES=$cycles ZARN_SOAK_RESTART_EVERY=$every \
  "$repo/scripts/run-soak-test.sh" soak $((cycles * 30 + 300)) 'HostCyclesTest.CyclesWith*'
