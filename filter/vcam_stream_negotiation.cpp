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

// Each subtype with the one header it may carry, and the steps its sides come in: planar chroma
// needs even sides, and a 24-bit row must fill whole 32-bit words, since rows go unpadded to the
// mixer and into the host's samples.
struct PixelLayout {
  const GUID* subtype;
  WORD bitCount;
  DWORD compression;
  int32_t widthStep;
  int32_t heightStep;
};

const PixelLayout kPixelLayouts[] = {
    {&MEDIASUBTYPE_RGB24, 24, BI_RGB, 4, 1},
    {&MEDIASUBTYPE_RGB32, 32, BI_RGB, 1, 1},
    {&MEDIASUBTYPE_I420, 12, kTagI420, 2, 2},
    {&MEDIASUBTYPE_NV12, 12, kTagNV12, 2, 2},
};

const PixelLayout* layoutOf(const GUID& subtype) {
  for (const PixelLayout& layout : kPixelLayouts) {
    if (*layout.subtype == subtype) return &layout;
  }
  return nullptr;
}

// Whether the pin can connect with a type of this shape at all. CheckMediaType and SetFormat both
// ask here, so SetFormat never takes a type that every connection would then refuse.
bool isConnectableType(const AM_MEDIA_TYPE& type, int level, const char* caller) {
  if (type.majortype != MEDIATYPE_Video) {
    LogPrint(level, "%s: invalid majortype for MEDIATYPE_Video", caller);
    return false;
  }
  const PixelLayout* layout = layoutOf(type.subtype);
  if (!layout) {
    LogPrint(level, "%s: invalid subtype for AM_MEDIA_TYPE", caller);
    return false;
  }
  if (!holdsVideoInfo(type)) {
    LogPrint(level, "%s: invalid pbFormat", caller);
    return false;
  }
  const auto& header = reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader;
  if (header.biBitCount != layout->bitCount || header.biCompression != layout->compression) {
    LogPrint(level, "%s: bitcount=%d compression=0x%08x disagree with the subtype", caller,
             int(header.biBitCount), unsigned(header.biCompression));
    return false;
  }
  const int32_t width = header.biWidth;
  const int32_t height = header.biHeight;
  if (width < kSmallestFrameSide || height < kSmallestFrameSide) {
    LogPrint(level, "%s: size too small with biWidth=%d, biHeight=%d, ", caller, width, height);
    return false;
  }
  if (width > kLargestFrameSide || height > kLargestFrameSide) {
    LogPrint(level, "%s: size too large with biWidth=%d, biHeight=%d, ", caller, width, height);
    return false;
  }
  if (width % layout->widthStep != 0 || height % layout->heightStep != 0) {
    LogPrint(level, "%s: size %dx%d is not in the steps of its format", caller, width, height);
    return false;
  }
  return true;
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
  if (!isConnectableType(*type, 4, "CVCamStream::CheckMediaType")) return E_INVALIDARG;
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
  IPin* peer = nullptr;
  CMediaType previous;
  {
    CAutoLock lock(m_pFilter->pStateLock());
    // A type is judged before the camera's holder: a bad one gets no notice.
    if (!type || !isConnectableType(*type, 1, "CVCamStream::SetFormat")) return kRefused;
    HRESULT gate = passOccupancyGate("CVCamStream::SetFormat: vcam is disabled to connect",
                                     "CVCamStream::SetFormat: device is used by another process");
    if (FAILED(gate)) return gate;
    ConnectedTo(&peer);
    if (peer && !m_pFilter->IsStopped()) {
      // The worker sizes every frame by the request: it changes only while no worker runs.
      LogPrint(1, "CVCamStream::SetFormat: refused while the filter runs");
      peer->Release();
      return VFW_E_NOT_STOPPED;
    }
    previous = m_mt;
    m_mt = *type;
  }
  if (peer) {
    LogPrint(1, "CVCamStream::SetFormat: Reconnect this filter");
    const HRESULT reconnected = reconnectWithCurrentType(peer, previous);
    peer->Release();
    if (FAILED(reconnected)) return reconnected;
    publishReconnectedFormat();
  }
  CAutoLock lock(m_pFilter->pStateLock());
  LogPrint(1, "CVCamStream::SetFormat: m_timePerFrameSample=%d w=%d h=%d bitcount=%d forcc=%s",
           m_avgTimePerFrameSample, m_widthOutReq, m_heightOutReq, m_bitCount,
           FourccName(m_fourcc));
  return S_OK;
}

HRESULT CVCamStream::reconnectWithCurrentType(IPin* peer, const CMediaType& previous) {
  // The graph takes its own lock and calls back into this filter, so it is called without ours.
  FILTER_INFO info = {};
  m_pFilter->QueryFilterInfo(&info);
  IFilterGraph* graph = info.pGraph;
  HRESULT reconnected = graph ? graph->Reconnect(this) : VFW_E_NOT_IN_GRAPH;
  if (graph) graph->SetDefaultSyncSource();
  if (FAILED(reconnected)) {
    LogPrint(1, "CVCamStream::SetFormat: Reconnect failed hr=0x%08x",
             static_cast<unsigned>(reconnected));
    // The host keeps the connection it had: the old type and request come back whole, and a
    // graph that let go of both pins on its way connects them again with the old type.
    bool connected;
    {
      CAutoLock lock(m_pFilter->pStateLock());
      connected = IsConnected();
      if (connected) {
        SetMediaType(&previous);
      } else {
        m_mt = previous;
      }
    }
    if (!connected && graph) graph->ConnectDirect(this, peer, &previous);
  }
  if (graph) graph->Release();
  return reconnected;
}

void CVCamStream::publishReconnectedFormat() {
  CAutoLock lock(m_pFilter->pStateLock());
  const auto& format = *reinterpret_cast<const VIDEOINFOHEADER*>(m_mt.Format());
  takeRequestedFormat(format);
  // Unlike SetMediaType, RGB goes to the mixer as tag 0.
  if (m_bitCount == 24 || m_bitCount == 32) {
    LogPrint(1, "CVCamStream::SetFormat dst format is rgb%d", m_bitCount);
    m_fourcc = 0;
  } else {
    LogPrint(1, "CVCamStream::SetMediaType dst format is biCompression = %d",
             int(format.bmiHeader.biCompression));
    m_fourcc = format.bmiHeader.biCompression;
  }
  LogPrint(1, "CVCamStream::SetMediaType UpdateVideoOutParamIntoSharedMemory caused by SetFormat");
  UpdateVideoOutParamIntoSharedMemory();
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
