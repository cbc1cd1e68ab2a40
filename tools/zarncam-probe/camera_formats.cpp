#include "camera_formats.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "camera_devices.h"

namespace {

const GUID kSubtypeI420 = {0x30323449, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

std::string formatOf(const GUID& subtype) {
  if (subtype == MEDIASUBTYPE_RGB24) return "rgb24";
  if (subtype == MEDIASUBTYPE_RGB32) return "rgb32";
  if (subtype == kSubtypeI420) return "i420";
  return "other";
}

// Calls `visit` with each row's media type until it returns false.
void forEachStreamCap(IAMStreamConfig* config,
                      const std::function<bool(const AM_MEDIA_TYPE&, const VIDEOINFOHEADER&)>& visit) {
  int count = 0, size = 0;
  config->GetNumberOfCapabilities(&count, &size);
  std::vector<BYTE> caps(size_t(std::max(size, 1)));
  bool goOn = true;
  for (int i = 0; goOn && i < count; ++i) {
    AM_MEDIA_TYPE* type = nullptr;
    if (config->GetStreamCaps(i, &type, caps.data()) != S_OK || !type) continue;
    if (type->pbFormat) goOn = visit(*type, *reinterpret_cast<VIDEOINFOHEADER*>(type->pbFormat));
    CoTaskMemFree(type->pbFormat);
    CoTaskMemFree(type);
  }
}

IAMStreamConfig* streamConfigOf(IPin* output) {
  IAMStreamConfig* config = nullptr;
  if (output) output->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config));
  return config;
}

}  // namespace

GUID subtypeFor(const std::string& format) {
  if (format == "rgb24") return MEDIASUBTYPE_RGB24;
  if (format == "rgb32") return MEDIASUBTYPE_RGB32;
  return kSubtypeI420;
}

std::vector<CameraFormat> cameraFormats(IBaseFilter* camera) {
  std::vector<CameraFormat> rows;
  IPin* output = firstPin(camera, PINDIR_OUTPUT);
  IAMStreamConfig* config = streamConfigOf(output);
  if (config) {
    forEachStreamCap(config, [&](const AM_MEDIA_TYPE& type, const VIDEOINFOHEADER& video) {
      rows.push_back({int(video.bmiHeader.biWidth), int(video.bmiHeader.biHeight),
                      video.AvgTimePerFrame > 0 ? 1e7 / double(video.AvgTimePerFrame) : 0,
                      formatOf(type.subtype)});
      return true;
    });
    config->Release();
  }
  if (output) output->Release();
  return rows;
}

bool printCapabilities(IBaseFilter* camera) {
  const std::vector<CameraFormat> rows = cameraFormats(camera);
  if (rows.empty()) return false;
  std::printf("%zu capabilities\n", rows.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    std::printf("  %3zu: %dx%d %s %.2f fps\n", i, rows[i].width, rows[i].height,
                rows[i].format.c_str(), rows[i].fps);
  }
  return true;
}

HRESULT setCameraFormat(IPin* output, const ProbeOptions& options, std::string& failure) {
  IAMStreamConfig* config = streamConfigOf(output);
  if (!config) {
    failure = "the camera's pin has no IAMStreamConfig";
    return E_NOINTERFACE;
  }
  const HRESULT result = setStreamFormat(config, options, failure);
  config->Release();
  return result;
}

HRESULT setStreamFormat(IAMStreamConfig* config, const ProbeOptions& options, std::string& failure) {
  HRESULT result = VFW_E_INVALIDMEDIATYPE;
  failure = "the camera offers no such size, rate and format";
  const REFERENCE_TIME period = 10000000 / options.fps;
  forEachStreamCap(config, [&](const AM_MEDIA_TYPE& type, const VIDEOINFOHEADER& video) {
    const bool wanted = type.subtype == subtypeFor(options.format) &&
                        video.bmiHeader.biWidth == options.width &&
                        video.bmiHeader.biHeight == options.height &&
                        std::llabs(video.AvgTimePerFrame - period) < 10;
    if (!wanted) return true;
    result = config->SetFormat(const_cast<AM_MEDIA_TYPE*>(&type));
    failure = result == E_ACCESSDENIED
                  ? "\"ZarnCam Pro\" refused: another application holds the camera, or the mixer "
                    "refuses connections"
                  : "SetFormat failed";
    return false;
  });
  return result;
}
