#pragma once
// Receives frames from a capture filter through the system's sample grabber and measures them:
// how many, how fast, how many came from the mixer, and how old each one is against the mixer's
// time stamp in its pixels.
#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

#include "probe_options.h"

struct ProbeResult {
  HRESULT status = S_OK;
  std::string failure;  // what went wrong, when status failed
  int framesReceived = 0;
  int mixerFrames = 0;  // those with a live stamp of the mixer; the rest are the placeholder's
  double seconds = 0;
  std::vector<int> agesMs;  // one per mixer frame
};

// The system's sample grabber and null renderer; mingw's headers don't name their classes.
extern const CLSID kSampleGrabber;
extern const CLSID kNullRenderer;

// The system's filter graph; null if it has none.
IGraphBuilder* createFilterGraph();

// Sets the camera's format, builds camera -> grabber -> null renderer in `graph`, runs, measures,
// stops, and takes the three filters out of the graph again.
ProbeResult probeFrames(IGraphBuilder* graph, IBaseFilter* camera, const ProbeOptions& options);
