#pragma once
// A test's own pin, built beside the filter's pin, with a test platform in force for its life.
#include <memory>

#include "diag/log_line_queue.h"
#include "filter/vcam.h"
#include "filter/vcam_stream.h"
#include "gpu/special_rgba_to_tex.h"
#include "host/platform.h"

// A pin opened up to take a request and show what it holds.
class OpenStream : public CVCamStream {
 public:
  OpenStream(CVCam* filter, HRESULT* hr) : CVCamStream(hr, filter, L"open") {}

  void request(int32_t width, int32_t height, int32_t bitCount = 32, uint32_t fourcc = kTagRGBA) {
    m_widthOutReq = width;
    m_heightOutReq = height;
    m_bitCount = bitCount;
    m_fourcc = fourcc;
  }
  void deliver(IMediaSample* sample) { FillBufferVideoMemoryOutput(sample); }
  ID3D11Texture2D* texture() const { return m_pSpecialRGBAToTex->sharedTexture(); }
  uint32_t textureId() const { return m_pSpecialRGBAToTex->getSharedTextureId(); }

  using CVCamStream::m_isFlipHost;
  using CVCamStream::m_isLimitedRgbHost;
  using CVCamStream::m_pSharedTexHelper;
  using CVCamStream::m_placeholderFrame;
};

template <typename Stream = OpenStream>
class PinBesideFilter {
 public:
  explicit PinBesideFilter(Platform& platform) {
    LogLineQueue::create();
    setPlatform(&platform);
    filter = new CVCam(nullptr, &hr);
    filter->AddRef();
    stream = std::make_unique<Stream>(filter, &hr);
  }
  ~PinBesideFilter() {
    stream.reset();
    filter->Release();
    setPlatform(nullptr);
  }
  PinBesideFilter(const PinBesideFilter&) = delete;
  PinBesideFilter& operator=(const PinBesideFilter&) = delete;

  HRESULT hr = S_OK;
  CVCam* filter = nullptr;
  std::unique_ptr<Stream> stream;
};
