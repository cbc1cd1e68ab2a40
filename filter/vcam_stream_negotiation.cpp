// Which media types the pin offers and accepts.
#include <dshow.h>

#include "delivery/format_tags.h"
#include "diag/log.h"
#include "filter/capture_format_catalogue.h"
#include "filter/media_subtypes.h"
#include "filter/vcam_stream.h"
#include "link/vcam_param_channel.h"

namespace {

// Hosts have always been given this bare value, not E_FAIL, for a type SetFormat can't take.
const HRESULT kRefused = -1;

// The format block is read as a video header: a shorter or foreign one would be read past its end.
bool holdsVideoInfo(const AM_MEDIA_TYPE& type) {
  return type.formattype == FORMAT_VideoInfo && type.pbFormat &&
         type.cbFormat >= sizeof(VIDEOINFOHEADER);
}

bool isPlanarSubtype(const GUID& subtype) {
  return subtype == MEDIASUBTYPE_I420 || subtype == MEDIASUBTYPE_NV12;
}

// Name of a format tag, for log lines only.
const char* FourccName(uint32_t tag) {
  switch (tag) {
    case kTagRGB3:
    case kTag24BG:
      return "RGB24";
    case kTagRGB4:
      return "RGB32";
    case kTagARGB:
      return "ARGB";
    case kTagI420:
      return "I420";
    case kTagNV12:
      return "NV12";
    case kTagYV12:
      return "YV12";
    case makeFormatTag("Y800"):
      return "Y800";
    case makeFormatTag("YUY2"):
      return "YUY2";
    case makeFormatTag("UYVY"):
      return "UYVY";
    case makeFormatTag("HDYC"):
      return "HDYC";
    case makeFormatTag("MJPG"):
      return "MJPEG";
    case makeFormatTag("H264"):
      return "H264";
    case 0xFFFFFFFFu:
      return "Any";
    default:
      return "Unkown";
  }
}

}  // namespace

HRESULT CVCamStream::CheckMediaType(const CMediaType* type) {
  if (!type) return E_POINTER;
  if (type->majortype != MEDIATYPE_Video || !holdsVideoInfo(*type)) return E_INVALIDARG;
  const auto* header = &reinterpret_cast<const VIDEOINFOHEADER*>(type->Format())->bmiHeader;
  const GUID& subtype = type->subtype;
  bool rgbOrUnset =
      subtype == MEDIASUBTYPE_RGB24 || subtype == MEDIASUBTYPE_RGB32 || subtype == GUID_NULL;
  if (!rgbOrUnset && !(isPlanarSubtype(subtype) && header->biBitCount == 12)) return E_INVALIDARG;

  int32_t width = header->biWidth;
  int32_t height = header->biHeight;
  if (width < kSmallestFrameSide || height < kSmallestFrameSide) {
    LogPrint(4, "CVCamStream::CheckMediaType: size too small with biWidth=%d, biHeight=%d, ", width,
             height);
    return E_INVALIDARG;
  }
  if (width > kLargestFrameSide || height > kLargestFrameSide) {
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
  auto* format =
      reinterpret_cast<VIDEOINFOHEADER*>(type->AllocFormatBuffer(sizeof(VIDEOINFOHEADER)));
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

HRESULT CVCamStream::SetMediaType(const CMediaType* type) {
  CAutoLock lock(m_pFilter->pStateLock());
  HRESULT result = CSourceStream::SetMediaType(type);
  if (FAILED(result)) return result;
  // From here on m_mt is the new type, whether or not the camera is granted.
  if (!m_mt.Format()) {
    LogPrint(1, "CVCamStream::SetMediaType invalid Format");
    return E_UNEXPECTED;
  }
  HRESULT gate = passOccupancyGate("CVCamStream::SetMediaType isEnableVCamConnect==false",
                                   "CVCamStream::SetMediaType: device is used by another process");
  if (FAILED(gate)) return gate;

  const auto& format = *reinterpret_cast<const VIDEOINFOHEADER*>(m_mt.Format());
  takeRequestedFormat(format);
  const BITMAPINFOHEADER& header = format.bmiHeader;
  if (m_bitCount == 24 || m_bitCount == 32) {
    LogPrint(1, "CVCamStream::SetMediaType dst format is rgb%d", m_bitCount);
    m_fourcc = m_bitCount == 24 ? kTagRGB3 : kTagRGB4;
  } else if (m_bitCount == 12 && header.biCompression == 0) {
    LogPrint(1, "CVCamStream::SetMediaType dst format is I420");
    m_fourcc = kTagI420;
  } else {
    LogPrint(1, "CVCamStream::SetMediaType dst format is biCompression = %d",
             int(header.biCompression));
    m_fourcc = header.biCompression;
  }
  LogPrint(
      1,
      "CVCamStream::SetMediaType m_widthOutReq=%d m_heightOutReq=%d m_avgTimePerFrameSample=%d "
      "m_timePerFrameSamplev=%d bitcount=%d fourcc=%s",
      m_widthOutReq, m_heightOutReq, m_avgTimePerFrameSample, m_timePerFrameSample, m_bitCount,
      FourccName(m_fourcc));
  LogPrint(1,
           "CVCamStream::SetMediaType UpdateVideoOutParamIntoSharedMemory caused by SetMediaType");
  UpdateVideoOutParamIntoSharedMemory();
  return result;
}

STDMETHODIMP CVCamStream::SetFormat(AM_MEDIA_TYPE* type) {
  CAutoLock lock(m_pFilter->pStateLock());
  if (!type || type->majortype != MEDIATYPE_Video) {
    LogPrint(1, "CVCamStream::SetFormat: invalid majortype for MEDIATYPE_Video");
    return kRefused;
  }
  const GUID& subtype = type->subtype;
  if (subtype != MEDIASUBTYPE_RGB24 && subtype != MEDIASUBTYPE_RGB32 && !isPlanarSubtype(subtype)) {
    LogPrint(1, "CVCamStream::SetFormat: invalid subtype for AM_MEDIA_TYPE");
    return kRefused;
  }
  HRESULT gate = passOccupancyGate("CVCamStream::SetFormat: vcam is disabled to connect",
                                   "CVCamStream::SetFormat: device is used by another process");
  if (FAILED(gate)) return gate;
  if (!holdsVideoInfo(*type)) {
    LogPrint(1, "CVCamStream::SetFormat: invalid pbFormat");
    return kRefused;
  }
  const BITMAPINFOHEADER& asked =
      reinterpret_cast<const VIDEOINFOHEADER*>(type->pbFormat)->bmiHeader;
  if (asked.biCompression == BI_RGB) {
    LogPrint(1, "CVCamStream::SetFormat: dst biCompression is BI_RGB");
    if (asked.biBitCount != 24 && asked.biBitCount != 32) return kRefused;
  } else if (asked.biCompression == kTagI420 || asked.biCompression == kTagNV12) {
    LogPrint(1, "CVCamStream::SetFormat: dst biCompression is I420 or NV12");
    if (asked.biBitCount != 12) return kRefused;
  } else {
    LogPrint(1, "CVCamStream::SetFormat: dst biCompression is invalid");
    return kRefused;
  }

  IPin* connected = nullptr;
  ConnectedTo(&connected);
  if (!connected) {
    m_mt = *type;
  } else if (!m_pFilter->IsStopped()) {
    // The worker sizes every frame by the request: it changes only while no worker runs.
    LogPrint(1, "CVCamStream::SetFormat: refused while the filter runs");
    connected->Release();
    return VFW_E_NOT_STOPPED;
  } else {
    LogPrint(1, "CVCamStream::SetFormat: Reconnect this filter");
    // A reconnected pin keeps its reference on the peer, as hosts have always seen it. The graph
    // makes the new connection through SetMediaType; until it has, the old buffers are in force.
    CMediaType previous(m_mt);
    m_mt = *type;
    IFilterGraph* graph = m_pFilter->GetFilterGraph();
    HRESULT reconnected = graph ? graph->Reconnect(this) : VFW_E_NOT_IN_GRAPH;
    if (graph) graph->SetDefaultSyncSource();
    if (FAILED(reconnected)) {
      LogPrint(1, "CVCamStream::SetFormat: Reconnect failed hr=0x%08x",
               static_cast<unsigned>(reconnected));
      // A failed attempt may have taken the new type on its way: the old type and request come
      // back whole.
      SetMediaType(&previous);
      connected->Release();
      return reconnected;
    }
    const auto& format = *reinterpret_cast<const VIDEOINFOHEADER*>(m_mt.Format());
    takeRequestedFormat(format);
    const BITMAPINFOHEADER& header = format.bmiHeader;
    // Unlike SetMediaType, RGB goes to the mixer as tag 0.
    if (m_bitCount == 24 || m_bitCount == 32) {
      LogPrint(1, "CVCamStream::SetFormat dst format is rgb%d", m_bitCount);
      m_fourcc = 0;
    } else if (m_bitCount == 12 && header.biCompression == 0) {
      LogPrint(1, "CVCamStream::SetFormat dst format is I420");
      m_fourcc = kTagI420;
    } else {
      LogPrint(1, "CVCamStream::SetMediaType dst format is biCompression = %d",
               int(header.biCompression));
      m_fourcc = header.biCompression;
    }
    LogPrint(1,
             "CVCamStream::SetMediaType UpdateVideoOutParamIntoSharedMemory caused by SetFormat");
    UpdateVideoOutParamIntoSharedMemory();
  }
  LogPrint(1, "CVCamStream::SetFormat: m_timePerFrameSample=%d w=%d h=%d bitcount=%d forcc=%s",
           m_avgTimePerFrameSample, m_widthOutReq, m_heightOutReq, m_bitCount,
           FourccName(m_fourcc));
  return S_OK;
}

HRESULT CVCamStream::passOccupancyGate(const char* disabledLine, const char* heldLine) {
  if (!m_pParamChannel || !m_pParamChannel->isEnableVCamConnect()) {
    LogPrint(1, "%s", disabledLine);
    return E_ACCESSDENIED;
  }
  HandleOpeningProcessTermination();
  // Read twice: a claim given back between the reads still counts as another process's.
  if (deviceOpeningProcessId() != 0 && deviceOpeningProcessId() != GetCurrentProcessId()) {
    LogPrint(1, "%s", heldLine);
    ShowTipsForOpeningProcess();
    return E_ACCESSDENIED;
  }
  return S_OK;
}

void CVCamStream::takeRequestedFormat(const VIDEOINFOHEADER& format) {
  // Only the low 32 bits of the period travel to the mixer.
  m_avgTimePerFrameSample = static_cast<int32_t>(static_cast<uint32_t>(format.AvgTimePerFrame));
  m_timePerFrameSample = m_avgTimePerFrameSample / 10000;
  m_widthOutReq = format.bmiHeader.biWidth;
  m_heightOutReq = format.bmiHeader.biHeight;
  m_bitCount = format.bmiHeader.biBitCount;
  m_bFormatChanged = true;
}
