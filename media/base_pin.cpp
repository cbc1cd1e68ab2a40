#include "media/base_pin.h"

#include <dshow.h>

#include <cwchar>
#include <new>

#include "media/base_filter.h"
#include "media/enum_media_types.h"

namespace {

constexpr size_t kMaxInfoName = 128;

}  // namespace

CBasePin::CBasePin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT*,
                   LPCWSTR pName, PIN_DIRECTION dir)
    : CUnknown(pObjectName, nullptr),
      m_pName(nullptr),
      m_Connected(nullptr),
      m_dir(dir),
      m_pLock(pLock),
      m_bRunTimeError(false),
      m_bCanReconnectWhenActive(false),
      m_bTryMyTypesFirst(false),
      m_pFilter(pFilter),
      m_pQSink(nullptr),
      m_TypeVersion(1),
      m_tStart(0),
      m_tStop(MAXLONGLONG),
      m_dRate(1.0) {
  if (pName) {
    size_t len = wcsnlen(pName, 0x7FFFFFFF);
    m_pName = new (std::nothrow) WCHAR[len + 1];
    if (m_pName) {
      wmemcpy(m_pName, pName, len);
      m_pName[len] = L'\0';
    }
  }
}

CBasePin::~CBasePin() { delete[] m_pName; }

STDMETHODIMP CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (IsEqualIID(riid, IID_IPin)) {
    return GetInterface(static_cast<IPin*>(this), ppv);
  }
  if (IsEqualIID(riid, IID_IQualityControl)) {
    return GetInterface(static_cast<IQualityControl*>(this), ppv);
  }
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

// A pin lives as long as its filter, so its references are the filter's.
STDMETHODIMP_(ULONG) CBasePin::NonDelegatingAddRef() { return m_pFilter->AddRef(); }

STDMETHODIMP_(ULONG) CBasePin::NonDelegatingRelease() { return m_pFilter->Release(); }

STDMETHODIMP CBasePin::Disconnect() {
  CAutoLock cObjectLock(m_pLock);
  if (!IsStopped()) {
    return VFW_E_NOT_STOPPED;
  }
  if (!m_Connected) {
    return S_FALSE;
  }
  HRESULT hr = BreakConnect();
  if (FAILED(hr)) {
    return hr;
  }
  m_Connected->Release();
  m_Connected = nullptr;
  return S_OK;
}

STDMETHODIMP CBasePin::ConnectedTo(IPin** pPin) {
  if (!pPin) {
    return E_POINTER;
  }
  IPin* pConnected = m_Connected;
  *pPin = pConnected;
  if (!pConnected) {
    return VFW_E_NOT_CONNECTED;
  }
  pConnected->AddRef();
  return S_OK;
}

STDMETHODIMP CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* pmt) {
  if (!pmt) {
    return E_POINTER;
  }
  CAutoLock cObjectLock(m_pLock);
  if (IsConnected()) {
    return CopyMediaType(pmt, &m_mt);
  }
  // The caller's record may hold anything, so it is overwritten, not freed.
  ZeroMemory(pmt, sizeof(*pmt));
  pmt->bFixedSizeSamples = TRUE;
  pmt->lSampleSize = 1;
  return VFW_E_NOT_CONNECTED;
}

STDMETHODIMP CBasePin::QueryPinInfo(PIN_INFO* pInfo) {
  if (!pInfo) {
    return E_POINTER;
  }
  pInfo->pFilter = m_pFilter;
  if (m_pFilter) {
    m_pFilter->AddRef();
  }
  pInfo->achName[0] = L'\0';
  if (m_pName) {
    wcsncpy(pInfo->achName, m_pName, kMaxInfoName - 1);
    pInfo->achName[kMaxInfoName - 1] = L'\0';
  }
  pInfo->dir = m_dir;
  return S_OK;
}

STDMETHODIMP CBasePin::QueryDirection(PIN_DIRECTION* pPinDir) {
  if (!pPinDir) {
    return E_POINTER;
  }
  *pPinDir = m_dir;
  return S_OK;
}

STDMETHODIMP CBasePin::QueryId(LPWSTR* Id) {
  if (!Id) {
    return E_POINTER;
  }
  LPCWSTR pName = m_pName ? m_pName : L"";
  size_t cb = (wcslen(pName) + 1) * sizeof(WCHAR);
  *Id = static_cast<LPWSTR>(CoTaskMemAlloc(cb));
  if (!*Id) {
    return E_OUTOFMEMORY;
  }
  memcpy(*Id, pName, cb);
  return S_OK;
}

STDMETHODIMP CBasePin::QueryAccept(const AM_MEDIA_TYPE* pmt) {
  if (!pmt) {
    return E_POINTER;
  }
  HRESULT hr = CheckMediaType(static_cast<const CMediaType*>(pmt));
  return FAILED(hr) ? S_FALSE : hr;
}

STDMETHODIMP CBasePin::EnumMediaTypes(IEnumMediaTypes** ppEnum) {
  if (!ppEnum) {
    return E_POINTER;
  }
  *ppEnum = new (std::nothrow) CEnumMediaTypes(this, nullptr);
  return *ppEnum ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CBasePin::QueryInternalConnections(IPin**, ULONG*) { return E_NOTIMPL; }

STDMETHODIMP CBasePin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
  m_tStart = tStart;
  m_tStop = tStop;
  m_dRate = dRate;
  return S_OK;
}

STDMETHODIMP CBasePin::Notify(IBaseFilter*, Quality) { return E_NOTIMPL; }

STDMETHODIMP CBasePin::SetSink(IQualityControl* piqc) {
  CAutoLock cObjectLock(m_pLock);
  m_pQSink = piqc;
  return S_OK;
}

LONG CBasePin::GetMediaTypeVersion() { return m_TypeVersion; }

void CBasePin::IncrementTypeVersion() { InterlockedIncrement(&m_TypeVersion); }

HRESULT CBasePin::Active() { return S_OK; }

HRESULT CBasePin::Inactive() {
  m_bRunTimeError = false;
  return S_OK;
}

HRESULT CBasePin::Run(REFERENCE_TIME) { return S_OK; }

HRESULT CBasePin::SetMediaType(const CMediaType* pmt) {
  return FAILED(m_mt.Set(*pmt)) ? E_OUTOFMEMORY : S_OK;
}

HRESULT CBasePin::GetMediaType(int, CMediaType*) { return E_UNEXPECTED; }

BOOL CBasePin::IsStopped() const { return m_pFilter->IsStopped(); }
