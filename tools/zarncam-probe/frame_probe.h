#pragma once
// Receives frames from a capture filter through the system's sample grabber and measures them:
// how many, how fast, and how old each one is against the mixer's time stamp in its pixels.
#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

#include "probe_options.h"

struct ProbeResult {
  HRESULT status = S_OK;
  std::string failure;  // what went wrong, when status failed
  int framesReceived = 0;
  double seconds = 0;
  std::vector<int> agesMs;  // one per frame whose stamp could be read
};

// Sets the camera's format, builds camera -> grabber -> null renderer, runs, and measures.
ProbeResult probeFrames(IBaseFilter* camera, const ProbeOptions& options);

// Prints the camera's capabilities; false if it has no IAMStreamConfig.
bool printCapabilities(IBaseFilter* camera);
