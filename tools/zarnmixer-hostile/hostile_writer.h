#pragma once
// The hostile writer's run: owns the frame region as the mixer would and publishes the records
// of HostileRecords under the region's mutex, signalling the frame event after each.
#include "tools/zarnmixer-hostile/hostile_options.h"

// Publishes until the time is up; prints what it published. The process exit code.
int runHostileWriter(const HostileOptions& options, uint64_t seed);
