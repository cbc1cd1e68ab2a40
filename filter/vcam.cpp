#include "filter/vcam.h"

#include <new>

#include "diag/log.h"
#include "filter/vcam_stream.h"
#include "filter/zarn_interfaces.h"

namespace {

const wchar_t kPinName[] = L"ZarnCam Pro";

bool isForwardedToPin(REFIID riid) {
  return riid == IID_IAMStreamConfig || riid == IID_IKsPropertySet || riid == IID_ICheckZarnCam ||
         riid == IID_ICheckZarnCamUsingVideoEnhancements ||
         riid == IID_IZarnCamFrameRateControler || riid == IID_ISetOutputWidthHeight ||
         riid == IID_IZarnVCameraEx;
}

}  // namespace

CUnknown* WINAPI CVCam::CreateInstance(IUnknown* outer, HRESULT* result) {
  LogPrint(1, "-----------------------------------------------");
  LogPrint(1, "CVCam::CreateInstance");
  return new (std::nothrow) CVCam(outer, result);
}

CVCam::CVCam(IUnknown* outer, HRESULT* result)
    : CSource(nullptr, outer, CLSID_ZarnVirtualCam) {
  LogPrint(1, "CVCam::CVCam");
  CAutoLock lock(&m_cStateLock);
  if (m_paStreams) {
    delete m_paStreams[0];
    delete[] m_paStreams;
  }
  m_paStreams = new CSourceStream*[1];
  // The pin adds itself to this filter as it is built.
  m_paStreams[0] = new CVCamStream(result, this, kPinName);
}

CVCam::~CVCam() {
  LogPrint(1, "CVCam::~CVCam");
  // A host may drop a filter that still runs: the worker ends before its pin goes.
  if (!IsStopped()) Stop();
  // A host may let go of the downstream side alone: the pin's hold on its peer ends here.
  stream()->Disconnect();
  delete m_paStreams[0];
  delete[] m_paStreams;
  m_paStreams = nullptr;
}

CVCamStream* CVCam::stream() const {
  return m_paStreams ? static_cast<CVCamStream*>(m_paStreams[0]) : nullptr;
}

STDMETHODIMP CVCam::QueryInterface(REFIID riid, void** ppv) {
  if (isForwardedToPin(riid) && stream()) return stream()->QueryInterface(riid, ppv);
  return GetOwner()->QueryInterface(riid, ppv);
}

STDMETHODIMP CVCam::Run(REFERENCE_TIME start) {
  LogPrint(1, "CVCam::Run");
  if (stream()) stream()->takeClaim();
  return CSource::Run(start);
}

STDMETHODIMP CVCam::Pause() {
  LogPrint(1, "CVCam::Pause");
  return CSource::Pause();
}

STDMETHODIMP CVCam::Stop() {
  LogPrint(1, "CVCam::Stop");
  // The worker ends first: with no mixer its wait runs out and republishes the request, which
  // would take back a claim given back before.
  const HRESULT hr = CSource::Stop();
  // Only this process's own claim is given back, and only when no other filter of it holds it.
  if (stream()) stream()->giveBackClaim();
  return hr;
}
