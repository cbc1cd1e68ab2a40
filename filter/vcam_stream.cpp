#include "filter/vcam_stream.h"

#include <dshow.h>
#include <timeapi.h>

#include <algorithm>


#include "delivery/scale_frame.h"
#include "diag/log.h"
#include "filter/capture_format_catalogue.h"
#include "filter/vcam.h"
#include "gpu/shared_tex_helper.h"
#include "gpu/special_rgba_to_tex.h"
#include "host/host_lists.h"
#include "host/mixer_launch.h"
#include "link/capture_share_memory_mgr.h"
#include "link/device_occupancy.h"
#include "link/vcam_param_channel.h"

namespace {

// The parameter record's defaults when this stream is the first to make it.
const int32_t kDefaultWidth = 1280;
const int32_t kDefaultHeight = 720;
const int32_t kDefaultFps = 25;
// One with the worker, one in a tee's copy, one on its way to a renderer.
const long kMinimumBuffers = 3;

}  // namespace

CVCamStream::CVCamStream(HRESULT* result, CVCam* parent, const wchar_t* pinName)
    : CSourceStream(nullptr, result, parent, pinName), m_pParent(parent) {
  m_isObsHost = isHostInObsProcessList();
  m_isFlipHost = isHostInFlipList();
  m_isLimitedRgbHost = isHostInLimitedRgbList();
  LogPrint(1, "CVCamStream::CVCamStream");
  // Row 1, not 0: position 0 is the current type, which is still empty here.
  GetMediaType(1, &m_defaultMediaType);
  GetMediaType(1, &m_mt);
  if (!m_pParamChannel) {
    m_pParamChannel = std::make_unique<VCamParamChannel>();
    m_pParamChannel->openOrCreate(kDefaultWidth, kDefaultHeight, kDefaultFps, 0);
  }
  FillZarnExternalResolution();
}

CVCamStream::~CVCamStream() {
  LogPrint(1, "CVCamStream::~CVCamStream");
  closeSpareHandles();
  if (m_hSynFrameEvent) CloseHandle(m_hSynFrameEvent);
  m_hSynFrameEvent = nullptr;
  // A claim taken with no connection, by the output sizes, ends with the pin as well.
  m_claim.giveBack(m_pParamChannel.get());
  m_pParamChannel.reset();
  m_pCaptureShareMemory.reset();
  m_pSharedTexHelper.reset();
  m_pSpecialRGBAToTex.reset();
}

void CVCamStream::closeSpareHandles() {
  for (HANDLE* spare : {&m_hSpare1, &m_hSpare2}) {
    if (*spare) {
      CloseHandle(*spare);
      *spare = nullptr;
    }
  }
}

STDMETHODIMP CVCamStream::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  IUnknown* part = nullptr;
  if (riid == IID_IAMStreamConfig) {
    part = static_cast<IAMStreamConfig*>(this);
  } else if (riid == IID_IKsPropertySet) {
    part = static_cast<IKsPropertySet*>(this);
  } else if (riid == IID_IShareSampleInterface) {
    part = static_cast<IShareSampleInterface*>(this);
  } else if (riid == IID_ICheckZarnCam) {
    part = static_cast<ICheckZarnCam*>(this);
  } else if (riid == IID_ICheckZarnCamUsingVideoEnhancements) {
    part = static_cast<ICheckZarnCamUsingVideoEnhancements*>(this);
  } else if (riid == IID_IZarnCamFrameRateControler) {
    part = static_cast<IZarnCamFrameRateControler*>(this);
  } else if (riid == IID_ISetOutputWidthHeight) {
    part = static_cast<ISetOutputWidthHeight*>(this);
  } else if (riid == IID_IZarnVCameraEx) {
    part = static_cast<IZarnVCameraEx*>(this);
  } else {
    return GetOwner()->QueryInterface(riid, ppv);
  }
  *ppv = part;
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) CVCamStream::AddRef() { return GetOwner()->AddRef(); }

STDMETHODIMP_(ULONG) CVCamStream::Release() { return GetOwner()->Release(); }

STDMETHODIMP CVCamStream::Notify(IBaseFilter*, Quality) { return E_NOTIMPL; }

HRESULT CVCamStream::OnThreadCreate() {
  CAutoLock lock(&m_streamLock);
  m_lastSampleTime = 0;
  return S_OK;
}

HRESULT CVCamStream::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
  if (!allocator || !properties) return E_POINTER;
  CAutoLock lock(m_pFilter->pStateLock());
  const auto* format = reinterpret_cast<const VIDEOINFOHEADER*>(m_mt.Format());
  // A tee downstream copies each sample into a buffer of this same allocator while the worker
  // holds another, so one buffer would stall the graph.
  properties->cBuffers = std::max<long>(properties->cBuffers, kMinimumBuffers);
  // A host's image size may be stale or short; the buffer holds the whole frame whatever it says.
  properties->cbBuffer =
      format ? long(std::max<uint64_t>(format->bmiHeader.biSizeImage,
                                       scaleFrameTargetBytes(format->bmiHeader.biWidth,
                                                             format->bmiHeader.biHeight,
                                                             format->bmiHeader.biBitCount)))
             : 0;
  ALLOCATOR_PROPERTIES actual = {};
  HRESULT hr = allocator->SetProperties(properties, &actual);
  if (FAILED(hr)) return hr;
  if (actual.cbBuffer < properties->cbBuffer) return E_FAIL;
  LogPrint(1, "::DecideBufferSize: m_timePerFrameSample=%d", m_timePerFrameSample);
  return S_OK;
}

bool CVCamStream::UpdateVideoOutParamIntoSharedMemory() {
  if (!m_pParamChannel) m_pParamChannel = std::make_unique<VCamParamChannel>();
  // A region that could not be had (another account's, or its mutex held by a hung process) is
  // tried again at each update, and so at each beat without frames.
  if (!m_pParamChannel->isOpen()) {
    m_pParamChannel->openOrCreate(kDefaultWidth, kDefaultHeight, kDefaultFps, 0);
  }
  // Noted before the mixer can see it, so that a frame stamped earlier is of the older request.
  m_layoutGuard.noteRequest(mixerFrameLayout(m_pParamChannel->getRequestedFourcc()),
                            mixerFrameLayout(m_fourcc), m_widthOutReq, m_heightOutReq,
                            timeGetTime());
  if (m_claim.publish(*m_pParamChannel, m_widthOutReq, m_heightOutReq, m_avgTimePerFrameSample,
                      m_fourcc)) {
    // Holding the camera again: the next frame is tried in the sealed layout first.
    m_bPlainRecords = false;
  }
  m_bVideoOutParamIntoSharedMemorySucceed = true;
  return true;
}

void CVCamStream::setDeviceOpeningProcessId(uint32_t pid) {
  ::setDeviceOpeningProcessId(m_pParamChannel.get(), pid);
}

void CVCamStream::takeClaim() { m_claim.take(m_pParamChannel.get()); }

void CVCamStream::giveBackClaim() { m_claim.giveBack(m_pParamChannel.get()); }

HRESULT CVCamStream::BreakConnect() {
  giveBackClaim();
  return CSourceStream::BreakConnect();
}

void CVCamStream::HandleOpeningProcessTermination() {
  ::HandleOpeningProcessTermination(m_pParamChannel.get());
}

uint32_t CVCamStream::deviceOpeningProcessId() {
  return m_pParamChannel ? m_pParamChannel->getOpeningProcessId() : 0;
}

void CVCamStream::ShowTipsForOpeningProcess() { ::ShowTipsForOpeningProcess(deviceOpeningProcessId()); }
