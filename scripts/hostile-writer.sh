#!/usr/bin/env bash
# Hostile writer: zarnmixer-hostile publishes random records into the frame region (random
# sizes, offsets, frame kinds and sealed lengths, both layouts) for [seconds] (default 120),
# while a real host (zarncam-probe) opens, runs and stops the camera every 3 seconds. Stops by
# itself; prints the seed, cycles done, crashes (must be 0), frames delivered, the host's handle
# count and the camera's claim after the last stop; exits non-zero on a failed count.
#   scripts/hostile-writer.sh [seconds] [seed]
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
seconds=${1:-120}
seed=${2:-$(( (RANDOM << 15 | RANDOM) + 1 ))}
echo "== ${seconds}s of hostile records, seed $seed (again with: $0 $seconds $seed)"
ZARN_HOSTILE_SECONDS=$seconds ZARN_HOSTILE_SEED=$seed \
  "$repo/scripts/run-soak-test.sh" hostile $((seconds * 8 + 300)) 'MixerFaultsTest.HostileWriter*'
