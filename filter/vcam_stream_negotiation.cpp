// Which media types the pin offers and accepts.
#include <dshow.h>

#include "diag/log.h"
#include "filter/capture_format_catalogue.h"
#include "filter/media_subtypes.h"
#include "filter/vcam_stream.h"

namespace {

const int32_t kSmallestSide = 192;
const int32_t kLargestSide = 3840;

bool isPlanarSubtype(const GUID& subtype) {
  return subtype == MEDIASUBTYPE_I420 || subtype == MEDIASUBTYPE_NV12;
}

}  // namespace

HRESULT CVCamStream::CheckMediaType(const CMediaType* type) {
  if (!type) return E_POINTER;
  if (type->majortype != MEDIATYPE_Video || !type->Format()) return E_INVALIDARG;
  const auto* header = &reinterpret_cast<const VIDEOINFOHEADER*>(type->Format())->bmiHeader;
  const GUID& subtype = type->subtype;
  bool rgbOrUnset =
      subtype == MEDIASUBTYPE_RGB24 || subtype == MEDIASUBTYPE_RGB32 || subtype == GUID_NULL;
  if (!rgbOrUnset && !(isPlanarSubtype(subtype) && header->biBitCount == 12)) return E_INVALIDARG;

  int32_t width = header->biWidth;
  int32_t height = header->biHeight;
  if (width < kSmallestSide || height < kSmallestSide) {
    LogPrint(4, "CVCamStream::CheckMediaType: size too small with biWidth=%d, biHeight=%d, ", width,
             height);
    return E_INVALIDARG;
  }
  if (width > kLargestSide || height > kLargestSide) {
    LogPrint(4, "CVCamStream::CheckMediaType: size too large with biWidth=%d, biHeight=%d, ", width,
             height);
    return E_INVALIDARG;
  }
  if (*type != m_mt) {
    LogPrint(4, "CVCamStream::CheckMediaType: param fmt is Not equal to current format");
    return E_INVALIDARG;
  }
  return S_OK;
}

HRESULT CVCamStream::GetMediaType(int position, CMediaType* type) {
  if (!type) return E_POINTER;
  LogPrint(1, "CVCamStream::GetMediaType iPosition =%d", position);
  CAutoLock lock(m_pFilter->pStateLock());
  if (position < 0) return E_INVALIDARG;
  if (static_cast<size_t>(position) >= s_videoCaptureInfo.size()) return VFW_S_NO_MORE_ITEMS;
  if (position == 0) {
    *type = m_mt;
    return S_OK;
  }

  const VideoCaptureInfo& row = s_videoCaptureInfo[position];
  auto* format = reinterpret_cast<VIDEOINFOHEADER*>(type->AllocFormatBuffer(sizeof(VIDEOINFOHEADER)));
  if (!format) return E_OUTOFMEMORY;
  ZeroMemory(format, sizeof(VIDEOINFOHEADER));
  format->bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  format->bmiHeader.biWidth = row.width;
  format->bmiHeader.biHeight = row.height;
  format->bmiHeader.biPlanes = 1;
  format->bmiHeader.biBitCount = static_cast<WORD>(row.bitCount);
  format->bmiHeader.biCompression = row.fourcc;
  format->bmiHeader.biSizeImage = imageSizeOfRow(row);
  format->AvgTimePerFrame = row.avgTimePerFrame;

  type->SetType(&MEDIATYPE_Video);
  type->SetFormatType(&FORMAT_VideoInfo);
  type->SetTemporalCompression(FALSE);
  if (row.fourcc == kTagI420) {
    type->SetSubtype(&MEDIASUBTYPE_I420);
  } else if (row.fourcc == kTagNV12) {
    type->SetSubtype(&MEDIASUBTYPE_NV12);
  } else {
    GUID subtype = GetBitmapSubtype(&format->bmiHeader);
    type->SetSubtype(&subtype);
  }
  type->SetSampleSize(format->bmiHeader.biSizeImage);
  return S_OK;
}
