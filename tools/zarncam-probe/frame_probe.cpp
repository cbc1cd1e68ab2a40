#include "frame_probe.h"

#include <qedit.h>
#include <timeapi.h>

#include "camera_devices.h"
#include "camera_formats.h"
#include "frame_meter.h"

const CLSID kSampleGrabber = {0xC1F400A0, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
const CLSID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

IGraphBuilder* createFilterGraph() {
  IGraphBuilder* graph = nullptr;
  CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                   reinterpret_cast<void**>(&graph));
  return graph;
}

ProbeResult probeFrames(IGraphBuilder* graph, IBaseFilter* camera, const ProbeOptions& options) {
  ProbeResult result;
  IBaseFilter* grabberFilter = nullptr;
  IBaseFilter* renderer = nullptr;
  ISampleGrabber* grabber = nullptr;
  IMediaControl* control = nullptr;
  IPin* cameraOut = firstPin(camera, PINDIR_OUTPUT);
  FrameMeter meter(options, options.cycles > 0);

  auto fail = [&](HRESULT status, const std::string& what) {
    result.status = status;
    result.failure = what;
  };
  if (FAILED(CoCreateInstance(kSampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&grabberFilter))) ||
      FAILED(CoCreateInstance(kNullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&renderer))) ||
      !cameraOut) {
    fail(E_FAIL, "the platform lacks the sample grabber or the null renderer");
  } else {
    graph->AddFilter(camera, L"ZarnCam Pro");
    graph->AddFilter(grabberFilter, L"Grabber");
    graph->AddFilter(renderer, L"Null renderer");
    grabberFilter->QueryInterface(IID_ISampleGrabber, reinterpret_cast<void**>(&grabber));
    AM_MEDIA_TYPE wanted = {};
    wanted.majortype = MEDIATYPE_Video;
    wanted.subtype = subtypeFor(options.format);
    grabber->SetMediaType(&wanted);
    grabber->SetCallback(&meter, 0);

    std::string failure;
    HRESULT hr = setCameraFormat(cameraOut, options, failure);
    IPin* grabberIn = FAILED(hr) ? nullptr : firstPin(grabberFilter, PINDIR_INPUT);
    IPin* grabberOut = FAILED(hr) ? nullptr : firstPin(grabberFilter, PINDIR_OUTPUT);
    IPin* rendererIn = FAILED(hr) ? nullptr : firstPin(renderer, PINDIR_INPUT);
    if (FAILED(hr)) {
      fail(hr, failure);
    } else if (FAILED(hr = graph->Connect(cameraOut, grabberIn)) ||
               FAILED(hr = graph->Connect(grabberOut, rendererIn))) {
      fail(hr, "the graph could not connect the camera");
    } else {
      graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
      DWORD start = timeGetTime();
      control->Run();
      const int frames = options.frames || options.seconds ? options.frames : 100;
      const DWORD limitMs = options.seconds ? DWORD(options.seconds) * 1000 : 600000;
      const HANDLE until =
          options.untilEvent.empty() ? nullptr : OpenEventA(SYNCHRONIZE, FALSE, options.untilEvent.c_str());
      for (bool called = false;
           !called && (frames == 0 || meter.frames() < frames) && timeGetTime() - start < limitMs;) {
        if (until) {
          called = WaitForSingleObject(until, 5) == WAIT_OBJECT_0;
        } else {
          Sleep(5);
        }
      }
      if (until) CloseHandle(until);
      result.seconds = (timeGetTime() - start) / 1000.0;
      result.framesReceived = meter.frames();
      result.mixerFrames = meter.mixerFrames();
      control->Stop();
      result.agesMs = meter.ages();
    }
    for (IPin* pin : {grabberIn, grabberOut, rendererIn}) {
      if (pin) pin->Release();
    }
    // Removing disconnects: the graph is left as it was given, for the next run.
    for (IBaseFilter* filter : {camera, grabberFilter, renderer}) graph->RemoveFilter(filter);
  }
  for (IUnknown* object : std::initializer_list<IUnknown*>{control, grabber, renderer, grabberFilter, cameraOut}) {
    if (object) object->Release();
  }
  return result;
}
