// How a capture application reads the camera's formats and recognises its pin as a capture pin.
#include <dshow.h>

#include <cstring>

#include "delivery/format_tags.h"
#include "filter/capture_format_catalogue.h"
#include "filter/media_subtypes.h"
#include "filter/vcam_stream.h"

namespace {

// The same for every row; hosts only compare them.
const LONG kMinBitsPerSecond = 30720;
const LONG kMaxBitsPerSecond = 491520000;
const HRESULT kRefused = -1;

// Every row is one exact size and period: no ranges, no cropping, no stretching.
void fillCaps(const VideoCaptureInfo& row, VIDEO_STREAM_CONFIG_CAPS& caps) {
  const SIZE size = {row.width, row.height};
  caps.guid = FORMAT_VideoInfo;
  caps.VideoStandard = 0;
  caps.InputSize = size;
  caps.MinCroppingSize = size;
  caps.MaxCroppingSize = size;
  caps.CropGranularityX = 0;
  caps.CropGranularityY = 0;
  caps.CropAlignX = 1;
  caps.CropAlignY = 1;
  caps.MinOutputSize = size;
  caps.MaxOutputSize = size;
  caps.OutputGranularityX = 0;
  caps.OutputGranularityY = 0;
  caps.StretchTapsX = 0;
  caps.StretchTapsY = 0;
  caps.ShrinkTapsX = 0;
  caps.ShrinkTapsY = 0;
  caps.MinFrameInterval = row.avgTimePerFrame;
  caps.MaxFrameInterval = row.avgTimePerFrame;
  caps.MinBitsPerSecond = kMinBitsPerSecond;
  caps.MaxBitsPerSecond = kMaxBitsPerSecond;
}

// The current type may carry a shorter block than a video header; the row's header needs all of it.
bool growToVideoInfo(AM_MEDIA_TYPE& type) {
  if (type.pbFormat && type.cbFormat >= sizeof(VIDEOINFOHEADER)) return true;
  auto* block = static_cast<BYTE*>(CoTaskMemRealloc(type.pbFormat, sizeof(VIDEOINFOHEADER)));
  if (!block) return false;
  std::memset(block + type.cbFormat, 0, sizeof(VIDEOINFOHEADER) - type.cbFormat);
  type.pbFormat = block;
  type.cbFormat = sizeof(VIDEOINFOHEADER);
  return true;
}

}  // namespace

STDMETHODIMP CVCamStream::GetFormat(AM_MEDIA_TYPE** type) {
  if (!type) return E_POINTER;
  CAutoLock lock(m_pFilter->pStateLock());
  *type = CreateMediaType(&m_mt);
  return *type ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CVCamStream::GetNumberOfCapabilities(int* count, int* size) {
  if (!count || !size) return E_POINTER;
  *count = static_cast<int>(s_videoCaptureInfo.size());
  *size = sizeof(VIDEO_STREAM_CONFIG_CAPS);
  return S_OK;
}

STDMETHODIMP CVCamStream::GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* caps) {
  if (!type || !caps) return E_POINTER;
  CAutoLock lock(m_pFilter->pStateLock());
  if (index < 0) return E_INVALIDARG;
  if (static_cast<size_t>(index) >= s_videoCaptureInfo.size()) return VFW_S_NO_MORE_ITEMS;
  const VideoCaptureInfo& row = s_videoCaptureInfo[index];

  *type = CreateMediaType(&m_mt);
  if (!*type) return E_OUTOFMEMORY;
  AM_MEDIA_TYPE& result = **type;
  if (!growToVideoInfo(result)) return E_OUTOFMEMORY;
  auto* format = reinterpret_cast<VIDEOINFOHEADER*>(result.pbFormat);
  BITMAPINFOHEADER& header = format->bmiHeader;
  header.biCompression = row.fourcc;
  header.biBitCount = static_cast<WORD>(row.bitCount);
  header.biSize = sizeof(BITMAPINFOHEADER);
  header.biPlanes = 1;
  header.biClrImportant = 0;
  SetRectEmpty(&format->rcSource);
  SetRectEmpty(&format->rcTarget);
  header.biWidth = row.width;
  header.biHeight = row.height;
  format->AvgTimePerFrame = row.avgTimePerFrame;
  header.biSizeImage = imageSizeOfRow(row);

  result.majortype = MEDIATYPE_Video;
  if (header.biBitCount == 32) {
    result.subtype = MEDIASUBTYPE_RGB32;
  } else if (header.biBitCount == 24) {
    result.subtype = MEDIASUBTYPE_RGB24;
  } else if (row.fourcc == kTagI420) {
    result.subtype = MEDIASUBTYPE_I420;
  } else if (row.fourcc == kTagNV12) {
    result.subtype = MEDIASUBTYPE_NV12;
  } else {
    return kRefused;
  }
  result.formattype = FORMAT_VideoInfo;
  // Declared variable here though GetMediaType declares it fixed; the comparison ignores both.
  result.bTemporalCompression = FALSE;
  result.bFixedSizeSamples = FALSE;
  result.lSampleSize = header.biSizeImage;
  result.cbFormat = sizeof(VIDEOINFOHEADER);

  fillCaps(row, *reinterpret_cast<VIDEO_STREAM_CONFIG_CAPS*>(caps));
  return S_OK;
}

STDMETHODIMP CVCamStream::Set(REFGUID, DWORD, void*, DWORD, void*, DWORD) { return E_NOTIMPL; }

STDMETHODIMP CVCamStream::Get(REFGUID set, DWORD id, void*, DWORD, void* data, DWORD dataSize,
                              DWORD* returned) {
  if (set != AMPROPSETID_Pin) return E_PROP_SET_UNSUPPORTED;
  if (id != AMPROPERTY_PIN_CATEGORY) return E_PROP_ID_UNSUPPORTED;
  if (!data && !returned) return E_POINTER;
  if (returned) *returned = sizeof(GUID);
  if (!data) return S_OK;
  if (dataSize < sizeof(GUID)) return E_UNEXPECTED;
  *static_cast<GUID*>(data) = PIN_CATEGORY_CAPTURE;
  return S_OK;
}

STDMETHODIMP CVCamStream::QuerySupported(REFGUID set, DWORD id, DWORD* support) {
  if (set != AMPROPSETID_Pin) return E_PROP_SET_UNSUPPORTED;
  if (id != AMPROPERTY_PIN_CATEGORY) return E_PROP_ID_UNSUPPORTED;
  if (support) *support = KSPROPERTY_SUPPORT_GET;
  return S_OK;
}
