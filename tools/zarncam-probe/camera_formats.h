#pragma once
// The camera's catalogue of formats as a host reads it through IAMStreamConfig, and the choice
// of one of its rows.
#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

#include "probe_options.h"

struct CameraFormat {
  int width = 0;
  int height = 0;
  double fps = 0;
  std::string format;  // rgb24, rgb32, i420 or other
};

// The rows in the order the camera gives them; empty if its pin has no IAMStreamConfig.
std::vector<CameraFormat> cameraFormats(IBaseFilter* camera);

// Prints the camera's capabilities; false if it has no IAMStreamConfig.
bool printCapabilities(IBaseFilter* camera);

// The subtype that a host asks for with `format` (rgb24, rgb32 or i420).
GUID subtypeFor(const std::string& format);

// SetFormat with the catalogue row of the wanted size, rate and format; `failure` says why not.
HRESULT setCameraFormat(IPin* output, const ProbeOptions& options, std::string& failure);

// The same through the stream configuration interface itself, as a capture graph builder finds it.
HRESULT setStreamFormat(IAMStreamConfig* config, const ProbeOptions& options, std::string& failure);
