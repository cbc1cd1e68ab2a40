#include "builder_run.h"

#include <windows.h>
#include <dshow.h>
#include <qedit.h>
#include <timeapi.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "camera_devices.h"
#include "camera_formats.h"
#include "frame_meter.h"
#include "frame_probe.h"

namespace {

// A stop that takes longer has hung: the graph waits for a buffer that never comes back.
const DWORD kStopLimitMs = 20000;

// One rendered stream, with the grabber that counts its frames.
struct RenderedStream {
  const char* name;
  const GUID* category;
  IBaseFilter* grabber = nullptr;
  std::unique_ptr<FrameMeter> meter;
  int framesBefore = 0;

  int framesThisRun() const { return meter->frames() - framesBefore; }
};

IBaseFilter* createFilter(const CLSID& id) {
  IBaseFilter* filter = nullptr;
  CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                   reinterpret_cast<void**>(&filter));
  return filter;
}

// Capture goes to a null renderer; for preview the builder picks the video renderer itself.
HRESULT renderStream(ICaptureGraphBuilder2* builder, IGraphBuilder* graph, IBaseFilter* camera,
                     RenderedStream& stream, const ProbeOptions& options) {
  stream.grabber = createFilter(kSampleGrabber);
  IBaseFilter* renderer =
      *stream.category == PIN_CATEGORY_CAPTURE ? createFilter(kNullRenderer) : nullptr;
  if (!stream.grabber || (*stream.category == PIN_CATEGORY_CAPTURE && !renderer)) return E_FAIL;
  graph->AddFilter(stream.grabber, nullptr);
  if (renderer) graph->AddFilter(renderer, nullptr);
  ISampleGrabber* grabber = nullptr;
  stream.grabber->QueryInterface(IID_ISampleGrabber, reinterpret_cast<void**>(&grabber));
  AM_MEDIA_TYPE wanted = {};
  wanted.majortype = MEDIATYPE_Video;
  wanted.subtype = subtypeFor(options.format);
  grabber->SetMediaType(&wanted);
  stream.meter = std::make_unique<FrameMeter>(options, false);
  grabber->SetCallback(stream.meter.get(), 0);
  grabber->Release();
  const HRESULT hr = builder->RenderStream(stream.category, &MEDIATYPE_Video, camera,
                                           stream.grabber, renderer);
  if (renderer) renderer->Release();
  return hr;
}

DWORD WINAPI stopGraph(void* control) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  static_cast<IMediaControl*>(control)->Stop();
  CoUninitialize();
  return 0;
}

// False when Stop has not returned within the limit.
bool stopWithin(IMediaControl* control, DWORD limitMs) {
  HANDLE thread = CreateThread(nullptr, 0, stopGraph, control, 0, nullptr);
  if (!thread) {
    control->Stop();
    return true;
  }
  const bool stopped = WaitForSingleObject(thread, limitMs) == WAIT_OBJECT_0;
  CloseHandle(thread);
  return stopped;
}

// Runs until every stream has its frames or the time is up, then stops; false if Stop hung.
bool measureRun(int run, IMediaControl* control, std::vector<RenderedStream>& streams,
                const ProbeOptions& options) {
  for (RenderedStream& stream : streams) stream.framesBefore = stream.meter->frames();
  const DWORD start = timeGetTime();
  control->Run();
  auto shortOfFrames = [&] {
    for (const RenderedStream& stream : streams) {
      if (options.frames == 0 || stream.framesThisRun() < options.frames) return true;
    }
    return false;
  };
  while (shortOfFrames() && timeGetTime() - start < DWORD(options.seconds) * 1000) Sleep(10);
  const double seconds = (timeGetTime() - start) / 1000.0;
  std::printf("run %d of %d:", run, options.runs);
  for (const RenderedStream& stream : streams) {
    std::printf(" %s %d frames (%.1f a second)", stream.name, stream.framesThisRun(),
                stream.framesThisRun() / seconds);
  }
  std::printf(" in %.2f s\n", seconds);
  std::fflush(stdout);
  if (stopWithin(control, kStopLimitMs)) return true;
  std::printf("run %d of %d: Stop did not return within %lu s\n", run, options.runs,
              static_cast<unsigned long>(kStopLimitMs / 1000));
  std::fflush(stdout);
  return false;
}

}  // namespace

int runBuilder(const ProbeOptions& options) {
  IBaseFilter* camera = openVideoInputDevice(kCameraName);
  if (!camera) {
    std::fprintf(stderr, "zarncam-probe: \"ZarnCam Pro\" is not among the video input devices\n");
    return kNoCamera;
  }
  IGraphBuilder* graph = createFilterGraph();
  ICaptureGraphBuilder2* builder = nullptr;
  CoCreateInstance(CLSID_CaptureGraphBuilder2, nullptr, CLSCTX_INPROC_SERVER,
                   IID_ICaptureGraphBuilder2, reinterpret_cast<void**>(&builder));
  if (!graph || !builder) {
    std::fprintf(stderr, "zarncam-probe: the platform lacks the capture graph builder\n");
    return kFailed;
  }
  builder->SetFiltergraph(graph);
  graph->AddFilter(camera, L"ZarnCam Pro");

  std::string failure = "the builder found no IAMStreamConfig";
  IAMStreamConfig* config = nullptr;
  HRESULT hr = builder->FindInterface(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, camera,
                                      IID_IAMStreamConfig, reinterpret_cast<void**>(&config));
  if (SUCCEEDED(hr)) {
    hr = setStreamFormat(config, options, failure);
    config->Release();
  }
  std::vector<RenderedStream> streams;
  if (options.builder != "preview") streams.push_back({"capture", &PIN_CATEGORY_CAPTURE, nullptr, nullptr});
  if (options.builder != "capture") streams.push_back({"preview", &PIN_CATEGORY_PREVIEW, nullptr, nullptr});
  for (RenderedStream& stream : streams) {
    if (FAILED(hr)) break;
    hr = renderStream(builder, graph, camera, stream, options);
    failure = std::string("the builder could not render the ") + stream.name + " stream";
  }
  int code = kOk;
  if (FAILED(hr)) {
    std::fprintf(stderr, "zarncam-probe: %s (0x%08lX)\n", failure.c_str(),
                 static_cast<unsigned long>(hr));
    code = hr == E_ACCESSDENIED ? kRefused : kFailed;
  } else {
    IMediaControl* control = nullptr;
    graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
    for (int run = 1; run <= options.runs && code == kOk; ++run) {
      if (!measureRun(run, control, streams, options)) {
        // The graph can't be taken apart while its stop hangs.
        TerminateProcess(GetCurrentProcess(), kHung);
      }
      for (const RenderedStream& stream : streams) {
        if (stream.framesThisRun() == 0) code = kFailed;
      }
    }
    control->Release();
  }
  for (RenderedStream& stream : streams) {
    if (stream.grabber) stream.grabber->Release();
  }
  builder->Release();
  graph->Release();
  camera->Release();
  return code;
}
