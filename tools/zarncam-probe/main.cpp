// zarncam-probe: what a host sees of the camera, and how its frames arrive.
#include <windows.h>
#include <dshow.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "builder_run.h"
#include "camera_devices.h"
#include "camera_formats.h"
#include "cycle_run.h"
#include "frame_probe.h"
#include "probe_options.h"
#include "registered_module.h"

namespace {

int percentile(std::vector<int> values, int percent) {
  std::sort(values.begin(), values.end());
  size_t at = (values.size() - 1) * size_t(percent) / 100;
  return values[at];
}

}  // namespace

int main(int argc, char** argv) {
  ProbeOptions options;
  std::string error;
  if (!parseProbeOptions(argc, argv, options, error)) {
    std::fprintf(stderr, "zarncam-probe: %s\n%s", error.c_str(), kProbeUsage);
    return kBadArguments;
  }
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);

  if (options.listDevices) {
    for (const std::wstring& name : videoInputDeviceNames()) std::printf("%ls\n", name.c_str());
    const RegisteredModule module = registeredCameraModule();
    std::printf("module: %ls\nversion: %ls\n",
                module.path.empty() ? L"not registered" : module.path.c_str(),
                module.version.empty() ? L"unknown" : module.version.c_str());
    CoUninitialize();
    return kOk;
  }
  if (!options.builder.empty()) {
    const int code = runBuilder(options);
    CoUninitialize();
    return code;
  }
  if (options.cycles > 0) {
    const int code = runCycles(options);
    CoUninitialize();
    return code;
  }

  IBaseFilter* camera = openVideoInputDevice(kCameraName);
  if (!camera) {
    std::fprintf(stderr,
                 "zarncam-probe: \"ZarnCam Pro\" is not among the video input devices; register it "
                 "with: regsvr32 ZarnVirtualCam.ax\n");
    CoUninitialize();
    return kNoCamera;
  }

  int code = kOk;
  if (options.listCaps) {
    if (!printCapabilities(camera)) code = kFailed;
  } else {
    IGraphBuilder* graph = createFilterGraph();
    ProbeResult result;
    if (graph) {
      result = probeFrames(graph, camera, options);
      graph->Release();
    } else {
      result.status = E_FAIL;
      result.failure = "the platform lacks the filter graph";
    }
    if (FAILED(result.status)) {
      std::fprintf(stderr, "zarncam-probe: %s (0x%08lX)\n", result.failure.c_str(),
                   static_cast<unsigned long>(result.status));
      code = result.status == E_ACCESSDENIED ? kRefused : kFailed;
    } else {
      std::printf("frames received: %d in %.2f s, %.2f frames a second\n", result.framesReceived,
                  result.seconds, result.seconds > 0 ? result.framesReceived / result.seconds : 0.0);
      if (result.agesMs.empty()) {
        std::printf("frame age: no stamps read\n");
      } else {
        std::printf("frame age: p50 %d ms, p99 %d ms over %zu frames\n",
                    percentile(result.agesMs, 50), percentile(result.agesMs, 99), result.agesMs.size());
      }
    }
  }
  camera->Release();
  CoUninitialize();
  return code;
}
