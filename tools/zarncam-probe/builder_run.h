#pragma once
// A host that builds its graph as most capture applications do: through the capture graph
// builder, which finds the stream configuration and renders the capture and preview streams,
// with a tee in front of a camera that has a capture pin only.
#include "probe_options.h"

// Runs, measures and stops the graph `options.runs` times, printing each run's frames per stream.
int runBuilder(const ProbeOptions& options);
