#include "media/base_filter.h"

#include <dshow.h>

#include <cwchar>
#include <new>

#include "media/base_pin.h"
#include "media/enum_pins.h"

namespace {

// FILTER_INFO and PIN_INFO hold at most this many characters, terminator included.
constexpr size_t kMaxInfoName = 128;
constexpr HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);

}  // namespace

CBaseFilter::CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid)
    : CUnknown(pName, pUnk),
      m_State(State_Stopped),
      m_pClock(nullptr),
      m_tStart(0),
      m_clsid(clsid),
      m_pLock(pLock),
      m_pName(nullptr),
      m_pGraph(nullptr),
      m_pSink(nullptr),
      m_PinVersion(1) {}

CBaseFilter::~CBaseFilter() {
  delete[] m_pName;
  if (m_pClock) {
    m_pClock->Release();
  }
}

STDMETHODIMP CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (IsEqualIID(riid, IID_IBaseFilter) || IsEqualIID(riid, IID_IMediaFilter) ||
      IsEqualIID(riid, IID_IPersist)) {
    return GetInterface(static_cast<IBaseFilter*>(this), ppv);
  }
  if (IsEqualIID(riid, IID_IAMovieSetup)) {
    return GetInterface(static_cast<IAMovieSetup*>(this), ppv);
  }
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseFilter::GetClassID(CLSID* pClsID) {
  if (!pClsID) {
    return E_POINTER;
  }
  *pClsID = m_clsid;
  return S_OK;
}

namespace {

enum class OnFailure { GoOn, Stop };

// Calls `change` on each connected pin in order; the result is the first failure, or S_OK.
template <typename Change>
HRESULT changeConnectedPins(CBaseFilter& filter, OnFailure onFailure, Change change) {
  HRESULT first = S_OK;
  const int cPins = filter.GetPinCount();
  for (int c = 0; c < cPins; c++) {
    CBasePin* pPin = filter.GetPin(c);
    if (!pPin) {
      break;
    }
    if (!pPin->IsConnected()) {
      continue;
    }
    const HRESULT hr = change(pPin);
    if (FAILED(hr) && SUCCEEDED(first)) {
      first = hr;
      if (onFailure == OnFailure::Stop) {
        break;
      }
    }
  }
  return first;
}

}  // namespace

STDMETHODIMP CBaseFilter::Stop() {
  CAutoLock cObjectLock(m_pLock);
  HRESULT hr = S_OK;
  if (m_State != State_Stopped) {
    // Every pin is made inactive; the first failure is the answer.
    hr = changeConnectedPins(*this, OnFailure::GoOn, [](CBasePin* pin) { return pin->Inactive(); });
  }
  m_State = State_Stopped;
  return hr;
}

STDMETHODIMP CBaseFilter::Pause() {
  CAutoLock cObjectLock(m_pLock);
  if (m_State == State_Stopped) {
    HRESULT hr =
        changeConnectedPins(*this, OnFailure::Stop, [](CBasePin* pin) { return pin->Active(); });
    if (FAILED(hr)) {
      return hr;
    }
  }
  m_State = State_Paused;
  return S_OK;
}

STDMETHODIMP CBaseFilter::Run(REFERENCE_TIME tStart) {
  CAutoLock cObjectLock(m_pLock);
  m_tStart = tStart;
  if (m_State == State_Stopped) {
    HRESULT hr = Pause();
    if (FAILED(hr)) {
      return hr;
    }
  }
  if (m_State != State_Running) {
    HRESULT hr = changeConnectedPins(*this, OnFailure::Stop,
                                     [tStart](CBasePin* pin) { return pin->Run(tStart); });
    if (FAILED(hr)) {
      return hr;
    }
  }
  m_State = State_Running;
  return S_OK;
}

STDMETHODIMP CBaseFilter::GetState(DWORD, FILTER_STATE* State) {
  if (!State) {
    return E_POINTER;
  }
  *State = m_State;
  return S_OK;
}

STDMETHODIMP CBaseFilter::SetSyncSource(IReferenceClock* pClock) {
  CAutoLock cObjectLock(m_pLock);
  if (pClock) {
    pClock->AddRef();
  }
  if (m_pClock) {
    m_pClock->Release();
  }
  m_pClock = pClock;
  return S_OK;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** pClock) {
  if (!pClock) {
    return E_POINTER;
  }
  CAutoLock cObjectLock(m_pLock);
  if (m_pClock) {
    m_pClock->AddRef();
  }
  *pClock = m_pClock;
  return S_OK;
}

HRESULT CBaseFilter::StreamTime(REFERENCE_TIME& rtStream) {
  if (!m_pClock) {
    return VFW_E_NO_CLOCK;
  }
  HRESULT hr = m_pClock->GetTime(&rtStream);
  if (FAILED(hr)) {
    return hr;
  }
  rtStream -= m_tStart;
  return S_OK;
}

STDMETHODIMP CBaseFilter::EnumPins(IEnumPins** ppEnum) {
  if (!ppEnum) {
    return E_POINTER;
  }
  *ppEnum = new (std::nothrow) CEnumPins(this, nullptr);
  return *ppEnum ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CBaseFilter::FindPin(LPCWSTR Id, IPin** ppPin) {
  if (!ppPin) {
    return E_POINTER;
  }
  // A pin's id is its name unless the derived filter says otherwise.
  CAutoLock cObjectLock(m_pLock);
  int cPins = GetPinCount();
  for (int c = 0; c < cPins; c++) {
    CBasePin* pPin = GetPin(c);
    if (pPin && pPin->Name() && Id && wcscmp(pPin->Name(), Id) == 0) {
      *ppPin = pPin;
      pPin->AddRef();
      return S_OK;
    }
  }
  *ppPin = nullptr;
  return VFW_E_NOT_FOUND;
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* pInfo) {
  if (!pInfo) {
    return E_POINTER;
  }
  // JoinFilterGraph may replace both at any moment.
  CAutoLock reading(&m_infoLock);
  pInfo->achName[0] = L'\0';
  if (m_pName) {
    wcsncpy(pInfo->achName, m_pName, kMaxInfoName - 1);
    pInfo->achName[kMaxInfoName - 1] = L'\0';
  }
  pInfo->pGraph = m_pGraph;
  if (m_pGraph) {
    m_pGraph->AddRef();
  }
  return S_OK;
}

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) {
  CAutoLock joining(&m_infoLock);
  // The graph owns the filter, so neither the graph nor its sink is counted.
  m_pGraph = pGraph;
  m_pSink = nullptr;
  if (m_pGraph) {
    IMediaEventSink* pSink = nullptr;
    if (SUCCEEDED(
            m_pGraph->QueryInterface(IID_IMediaEventSink, reinterpret_cast<void**>(&pSink)))) {
      m_pSink = pSink;
      pSink->Release();
    }
  }
  delete[] m_pName;
  m_pName = nullptr;
  if (pName) {
    size_t len = wcslen(pName);
    if (len > 0x7FFFFFFE) {
      return E_INVALIDARG;
    }
    m_pName = new (std::nothrow) WCHAR[len + 1];
    if (!m_pName) {
      return E_OUTOFMEMORY;
    }
    wmemcpy(m_pName, pName, len + 1);
  }
  return S_OK;
}

STDMETHODIMP CBaseFilter::QueryVendorInfo(LPWSTR*) { return E_NOTIMPL; }

namespace {

// Runs `use` with the system's filter mapper over the filter's setup data; S_FALSE without data.
template <typename Use>
HRESULT withFilterMapper(const AMOVIESETUP_FILTER* setup, Use use) {
  if (!setup) {
    return S_FALSE;
  }
  IFilterMapper2* mapper = nullptr;
  HRESULT hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IFilterMapper2, reinterpret_cast<void**>(&mapper));
  if (FAILED(hr)) {
    return hr;
  }
  hr = use(mapper, *setup);
  mapper->Release();
  return hr;
}

}  // namespace

STDMETHODIMP CBaseFilter::Register() {
  return withFilterMapper(GetSetupData(), [](IFilterMapper2* mapper, const AMOVIESETUP_FILTER& setup) {
    REGFILTER2 rf2 = {};
    rf2.dwVersion = 1;
    rf2.dwMerit = setup.dwMerit;
    rf2.cPins = setup.nPins;
    rf2.rgPins = setup.lpPin;
    return mapper->RegisterFilter(*setup.clsID, setup.strName, nullptr, nullptr, nullptr, &rf2);
  });
}

STDMETHODIMP CBaseFilter::Unregister() {
  HRESULT hr =
      withFilterMapper(GetSetupData(), [](IFilterMapper2* mapper, const AMOVIESETUP_FILTER& setup) {
        return mapper->UnregisterFilter(nullptr, nullptr, *setup.clsID);
      });
  // Removing what was never registered is not a failure.
  return hr == kNotFound ? S_OK : hr;
}

LONG CBaseFilter::GetPinVersion() { return m_PinVersion; }

HRESULT CBaseFilter::NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2) {
  IMediaEventSink* pSink = m_pSink;
  if (!pSink) {
    return E_NOTIMPL;
  }
  if (EventCode == EC_COMPLETE) {
    EventParam2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
  }
  return pSink->Notify(EventCode, EventParam1, EventParam2);
}

void CBaseFilter::IncrementPinVersion() { InterlockedIncrement(&m_PinVersion); }

BOOL CBaseFilter::IsActive() {
  CAutoLock cObjectLock(m_pLock);
  return m_State == State_Paused || m_State == State_Running;
}
