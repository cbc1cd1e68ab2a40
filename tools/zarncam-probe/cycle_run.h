#pragma once
// The probe as a host that opens and closes the camera over and over, for soak runs.
#include "probe_options.h"

// Runs options.cycles cycles and prints each one and the totals; the process exit code.
int runCycles(const ProbeOptions& options);
