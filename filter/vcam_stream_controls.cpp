// The private interfaces that companion tools in the host's process use to steer the camera.
#include "diag/log.h"
#include "filter/capture_format_catalogue.h"
#include "filter/vcam_stream.h"

namespace {

struct FramePeriod {
  int32_t hundredNanoseconds;
  int32_t milliseconds;
};

// Modes 0 to 3: 10, 15, 30 and 60 frames a second.
const FramePeriod kFramePeriods[] = {{1000000, 100}, {666666, 66}, {333333, 33}, {166666, 16}};

}  // namespace

STDMETHODIMP CVCamStream::ShareSample() { return S_OK; }

STDMETHODIMP CVCamStream::CheckZarnCam(unsigned char* answer) {
  if (answer) *answer = 1;
  m_bCheckedByClient = true;
  return S_OK;
}

STDMETHODIMP CVCamStream::CheckZarnCamUsingVideoEnhancements(unsigned char* answer) {
  if (!answer) return E_POINTER;
  *answer = m_bUsingVideoEnhancements;
  return S_OK;
}

STDMETHODIMP CVCamStream::SetFrameRate(uint32_t mode) {
  CAutoLock lock(&m_streamLock);
  LogPrint(1, "CVCamStream::SetFrameRate:current frame rate = %d", static_cast<int>(mode));
  LogPrint(1, "CVCamStream::SetFrameRate:current frame rate = %d", static_cast<int>(mode));
  if (mode < sizeof(kFramePeriods) / sizeof(kFramePeriods[0])) {
    m_avgTimePerFrameSample = kFramePeriods[mode].hundredNanoseconds;
    m_timePerFrameSample = kFramePeriods[mode].milliseconds;
  }
  return S_OK;
}

STDMETHODIMP CVCamStream::SetOutputWidthHeight(const OutputSizeList* sizes) {
  CAutoLock lock(&m_streamLock);
  LogPrint(1, "IN SetOutputWidthHeight");
  if (!sizes || sizes->empty()) {
    LogPrint(1, "SetOutputWidthHeight: param is invalid!!!");
    return S_OK;
  }
  // Each pair may come to size a scratch buffer or a sample: no side outside the camera's range.
  for (const auto& size : *sizes) {
    if (size.first <= 0 || size.second <= 0 || size.first > kLargestFrameSide ||
        size.second > kLargestFrameSide) {
      LogPrint(1, "CVCamStream::SetOutputWidthHeight: refused %dx%d", size.first, size.second);
      return E_INVALIDARG;
    }
  }
  m_outputSizes = *sizes;
  for (const auto& size : m_outputSizes) {
    LogPrint(1, "CVCamStream::SetOutputWidthHeight m_widthOut: %d m_heightOut: %d", size.first,
             size.second);
  }
  LogPrint(1,
           "CVCamStream::SetOutputWidthHeight UpdateVideoOutParamIntoSharedMemory caused by "
           "SetOutputWidthHeight");
  UpdateVideoOutParamIntoSharedMemory();
  return S_OK;
}

STDMETHODIMP CVCamStream::GetOutputWidthHeight(int* width, int* height) {
  if (!width || !height) return E_POINTER;
  CAutoLock lock(&m_streamLock);
  *width = m_widthOut;
  *height = m_heightOut;
  LogPrint(1, "CVCamStream::GetOutputWidthHeight m_widthOut: %d m_widthOut: %d", *width, *height);
  return S_OK;
}

STDMETHODIMP CVCamStream::SetZarnCameraOutput(IZarnCameraOutput* output) {
  LogPrint(1, "CVCamStream::SetZarnCameraOutput");
  m_pCameraOutput = output;
  return S_OK;
}
