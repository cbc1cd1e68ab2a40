#include "cycle_run.h"

#include <windows.h>
#include <dshow.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "camera_devices.h"
#include "camera_formats.h"
#include "frame_probe.h"
#include "handle_count.h"
#include "link/vcam_param_channel.h"

namespace {

// Prime to the catalogue's row count, so that a long run visits every row, in an order that
// changes size, rate and format from one cycle to the next.
const size_t kRowStep = 37;

// The rows a host can ask for by name.
std::vector<CameraFormat> namedRows(IBaseFilter* camera) {
  std::vector<CameraFormat> rows;
  for (const CameraFormat& row : cameraFormats(camera)) {
    if (row.format != "other" && row.fps >= 1) rows.push_back(row);
  }
  return rows;
}

uint32_t cameraHolder() {
  VCamParamChannel params;
  params.openOrCreate(1280, 720, 25, 0);
  return params.getOpeningProcessId();
}

// Waits a moment for handles that are still being closed, such as those of threads that end.
DWORD settledHandleCount(DWORD target) {
  DWORD count = processHandleCount();
  for (int tries = 0; tries < 10 && count > target; ++tries) {
    Sleep(100);
    count = processHandleCount();
  }
  return count;
}

void printGrownHandleTypes(const std::map<std::wstring, int>& before) {
  std::printf("handles that grew:");
  for (const auto& [type, count] : processHandlesByType()) {
    const auto found = before.find(type);
    const int was = found == before.end() ? 0 : found->second;
    if (count > was) std::printf(" %ls %d -> %d", type.c_str(), was, count);
  }
  std::printf("\n");
}

struct Totals {
  int done = 0;
  int failed = 0;
  int frames = 0;
  int mixerFrames = 0;
};

void runCycle(int cycle, IMoniker* device, IGraphBuilder* graph, const ProbeOptions& options,
              Totals& totals) {
  ++totals.done;
  IBaseFilter* camera = openVideoInputDevice(device);
  if (!camera) {
    ++totals.failed;
    std::printf("cycle %d of %d: the device made no filter\n", cycle, options.cycles);
    return;
  }
  const std::vector<CameraFormat> rows = namedRows(camera);
  ProbeOptions cycleOptions = options;
  if (!rows.empty()) {
    const CameraFormat& row = rows[(size_t(cycle - 1) * kRowStep) % rows.size()];
    cycleOptions.width = row.width;
    cycleOptions.height = row.height;
    cycleOptions.fps = int(std::lround(row.fps));
    cycleOptions.format = row.format;
  }
  const ProbeResult result = probeFrames(graph, camera, cycleOptions);
  camera->Release();

  std::printf("cycle %d of %d: %dx%d %s %d fps: ", cycle, options.cycles, cycleOptions.width,
              cycleOptions.height, cycleOptions.format.c_str(), cycleOptions.fps);
  if (FAILED(result.status)) {
    ++totals.failed;
    std::printf("failed: %s (0x%08lX)\n", result.failure.c_str(),
                static_cast<unsigned long>(result.status));
    return;
  }
  totals.frames += result.framesReceived;
  totals.mixerFrames += result.mixerFrames;
  std::printf("%d frames (%d mixer, %d placeholder) in %.2f s\n", result.framesReceived,
              result.mixerFrames, result.framesReceived - result.mixerFrames, result.seconds);
}

}  // namespace

int runCycles(const ProbeOptions& options) {
  // One enumeration and one graph for the whole run: Wine's device enumerator keeps two registry
  // keys open per enumeration and its filter graph an event per graph, which would hide what
  // the camera itself does to the handle count.
  IMoniker* device = videoInputDeviceMoniker(kCameraName);
  if (!device) {
    std::fprintf(stderr, "zarncam-probe: \"ZarnCam Pro\" is not among the video input devices\n");
    return kNoCamera;
  }
  IGraphBuilder* graph = createFilterGraph();
  if (!graph) {
    device->Release();
    std::fprintf(stderr, "zarncam-probe: the platform lacks the filter graph\n");
    return kFailed;
  }
  Totals totals;
  // The first cycle loads the graph's and the camera's libraries; the count after it is the base.
  DWORD handlesAfterFirst = 0;
  std::map<std::wstring, int> typesAfterFirst;
  for (int cycle = 1; cycle <= options.cycles; ++cycle) {
    runCycle(cycle, device, graph, options, totals);
    // Tells a leak, which grows with the cycles, from a one-off allocation.
    std::printf("  handles now %lu\n", static_cast<unsigned long>(processHandleCount()));
    std::fflush(stdout);
    if (cycle == 1) {
      handlesAfterFirst = processHandleCount();
      typesAfterFirst = processHandlesByType();
    }
  }
  const DWORD handlesAfterLast = settledHandleCount(handlesAfterFirst);
  if (handlesAfterLast > handlesAfterFirst) printGrownHandleTypes(typesAfterFirst);
  graph->Release();
  device->Release();

  std::printf("cycles done: %d of %d, %d failed\n", totals.done, options.cycles, totals.failed);
  std::printf("frames delivered: %d (mixer %d, placeholder %d)\n", totals.frames,
              totals.mixerFrames, totals.frames - totals.mixerFrames);
  std::printf("handle count: %lu after the first cycle, %lu after the last\n",
              static_cast<unsigned long>(handlesAfterFirst),
              static_cast<unsigned long>(handlesAfterLast));
  std::printf("claim after the last stop: %u\n", cameraHolder());
  std::fflush(stdout);
  return totals.failed ? kFailed : kOk;
}
