#include "frame_probe.h"

#include <qedit.h>
#include <timeapi.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>

#include "link/test_pattern.h"

namespace {

// The system's sample grabber and null renderer; mingw's headers don't name their classes.
const CLSID kSampleGrabber = {0xC1F400A0, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
const CLSID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
const GUID kSubtypeI420 = {0x30323449, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

GUID subtypeFor(const std::string& format) {
  if (format == "rgb24") return MEDIASUBTYPE_RGB24;
  if (format == "rgb32") return MEDIASUBTYPE_RGB32;
  return kSubtypeI420;
}

IPin* firstPin(IBaseFilter* filter, PIN_DIRECTION direction) {
  IEnumPins* pins = nullptr;
  if (FAILED(filter->EnumPins(&pins))) return nullptr;
  IPin* pin = nullptr;
  while (pins->Next(1, &pin, nullptr) == S_OK) {
    PIN_DIRECTION found;
    if (SUCCEEDED(pin->QueryDirection(&found)) && found == direction) break;
    pin->Release();
    pin = nullptr;
  }
  pins->Release();
  return pin;
}

void writeBmp(const std::string& path, const BYTE* pixels, int width, int height, int bits) {
  const DWORD imageBytes = DWORD(width) * height * (bits / 8);
  BITMAPFILEHEADER file = {};
  BITMAPINFOHEADER info = {};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof(file) + sizeof(info);
  file.bfSize = file.bfOffBits + imageBytes;
  info.biSize = sizeof(info);
  info.biWidth = width;
  info.biHeight = height;  // the sample's rows lie bottom first, as a BMP's do
  info.biPlanes = 1;
  info.biBitCount = WORD(bits);
  info.biSizeImage = imageBytes;
  FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) return;
  std::fwrite(&file, sizeof(file), 1, out);
  std::fwrite(&info, sizeof(info), 1, out);
  std::fwrite(pixels, 1, imageBytes, out);
  std::fclose(out);
}

// Counts frames and reads each RGB frame's stamp from the one row of the strip that holds it.
class FrameMeter : public ISampleGrabberCB {
 public:
  FrameMeter(const ProbeOptions& options)
      : m_options(options), m_bits(options.format == "rgb24" ? 24 : 32),
        m_stampRow(size_t(options.width) * options.height * 4) {}

  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
    if (riid == IID_IUnknown || riid == IID_ISampleGrabberCB) {
      *ppv = static_cast<ISampleGrabberCB*>(this);
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  // Lives on the stack of the probe, longer than the graph that calls it.
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }

  STDMETHODIMP SampleCB(double, IMediaSample* sample) override {
    DWORD received = timeGetTime();
    BYTE* pixels = nullptr;
    sample->GetPointer(&pixels);
    int frame = ++m_frames;
    if (m_options.format == "i420" || !pixels) return S_OK;
    if (frame <= m_options.bmpFrames) {
      writeBmp(m_options.bmpFolder + "\\frame" + std::to_string(frame) + ".bmp", pixels,
               m_options.width, m_options.height, m_bits);
    }
    TestPatternStamp stamp;
    if (readStamp(pixels, stamp)) {
      std::lock_guard<std::mutex> lock(m_agesLock);
      m_ages.push_back(int(received - stamp.timestampMs));
    }
    return S_OK;
  }
  STDMETHODIMP BufferCB(double, BYTE*, LONG) override { return S_OK; }

  int frames() const { return m_frames.load(); }
  std::vector<int> ages() {
    std::lock_guard<std::mutex> lock(m_agesLock);
    return m_ages;
  }

 private:
  // RGB samples lie bottom row first: the strip's middle row is found from the bottom.
  bool readStamp(const BYTE* pixels, TestPatternStamp& stamp) {
    const int width = m_options.width;
    const int height = m_options.height;
    const int row = std::max(1, height / 8) / 2;
    const BYTE* source = pixels + size_t(height - 1 - row) * width * (m_bits / 8);
    BYTE* target = m_stampRow.data() + size_t(row) * width * 4;
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 3; ++c) target[x * 4 + c] = source[x * (m_bits / 8) + c];
    }
    return readTestPatternStamp(m_stampRow.data(), width, height, stamp);
  }

  const ProbeOptions& m_options;
  const int m_bits;
  std::vector<BYTE> m_stampRow;
  std::atomic<int> m_frames{0};
  std::mutex m_agesLock;
  std::vector<int> m_ages;
};

// Picks the catalogue row of the wanted size, rate and format and makes it the camera's type.
HRESULT setCameraFormat(IPin* output, const ProbeOptions& options, std::string& failure) {
  IAMStreamConfig* config = nullptr;
  if (FAILED(output->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config)))) {
    failure = "the camera's pin has no IAMStreamConfig";
    return E_NOINTERFACE;
  }
  int count = 0, size = 0;
  config->GetNumberOfCapabilities(&count, &size);
  std::vector<BYTE> caps(size_t(std::max(size, 1)));
  HRESULT result = VFW_E_INVALIDMEDIATYPE;
  failure = "the camera offers no such size, rate and format";
  const REFERENCE_TIME period = 10000000 / options.fps;
  for (int i = 0; i < count; ++i) {
    AM_MEDIA_TYPE* type = nullptr;
    if (config->GetStreamCaps(i, &type, caps.data()) != S_OK || !type) continue;
    auto* video = reinterpret_cast<VIDEOINFOHEADER*>(type->pbFormat);
    bool wanted = type->subtype == subtypeFor(options.format) && video &&
                  video->bmiHeader.biWidth == options.width &&
                  video->bmiHeader.biHeight == options.height &&
                  std::llabs(video->AvgTimePerFrame - period) < 10;
    if (wanted) {
      result = config->SetFormat(type);
      failure = result == E_ACCESSDENIED
                    ? "\"ZarnCam Pro\" refused: another application holds the camera, or the mixer "
                      "refuses connections"
                    : "SetFormat failed";
    }
    CoTaskMemFree(type->pbFormat);
    CoTaskMemFree(type);
    if (wanted) break;
  }
  config->Release();
  return result;
}

}  // namespace

bool printCapabilities(IBaseFilter* camera) {
  IPin* output = firstPin(camera, PINDIR_OUTPUT);
  IAMStreamConfig* config = nullptr;
  if (!output || FAILED(output->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config)))) {
    if (output) output->Release();
    return false;
  }
  int count = 0, size = 0;
  config->GetNumberOfCapabilities(&count, &size);
  std::printf("%d capabilities\n", count);
  std::vector<BYTE> caps(size_t(std::max(size, 1)));
  for (int i = 0; i < count; ++i) {
    AM_MEDIA_TYPE* type = nullptr;
    if (config->GetStreamCaps(i, &type, caps.data()) != S_OK || !type) continue;
    auto* video = reinterpret_cast<VIDEOINFOHEADER*>(type->pbFormat);
    const char* format = type->subtype == MEDIASUBTYPE_RGB24   ? "rgb24"
                         : type->subtype == MEDIASUBTYPE_RGB32 ? "rgb32"
                         : type->subtype == kSubtypeI420       ? "i420"
                                                               : "other";
    if (video) {
      std::printf("  %3d: %ldx%ld %s %.2f fps\n", i, video->bmiHeader.biWidth,
                  video->bmiHeader.biHeight, format, 1e7 / double(video->AvgTimePerFrame));
    }
    CoTaskMemFree(type->pbFormat);
    CoTaskMemFree(type);
  }
  config->Release();
  output->Release();
  return true;
}

ProbeResult probeFrames(IBaseFilter* camera, const ProbeOptions& options) {
  ProbeResult result;
  IGraphBuilder* graph = nullptr;
  IBaseFilter* grabberFilter = nullptr;
  IBaseFilter* renderer = nullptr;
  ISampleGrabber* grabber = nullptr;
  IMediaControl* control = nullptr;
  IPin* cameraOut = firstPin(camera, PINDIR_OUTPUT);
  FrameMeter meter(options);

  auto fail = [&](HRESULT status, const std::string& what) {
    result.status = status;
    result.failure = what;
  };
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                              reinterpret_cast<void**>(&graph))) ||
      FAILED(CoCreateInstance(kSampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&grabberFilter))) ||
      FAILED(CoCreateInstance(kNullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&renderer))) ||
      !cameraOut) {
    fail(E_FAIL, "the platform lacks the filter graph, the sample grabber or the null renderer");
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
      while ((frames == 0 || meter.frames() < frames) && timeGetTime() - start < limitMs) Sleep(5);
      result.seconds = (timeGetTime() - start) / 1000.0;
      result.framesReceived = meter.frames();
      control->Stop();
      result.agesMs = meter.ages();
    }
    for (IPin* pin : {grabberIn, grabberOut, rendererIn}) {
      if (pin) pin->Release();
    }
  }
  for (IUnknown* object : std::initializer_list<IUnknown*>{control, grabber, renderer, grabberFilter, graph, cameraOut}) {
    if (object) object->Release();
  }
  return result;
}
