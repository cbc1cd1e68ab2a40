#include "media/enum_pins.h"

#include <dshow.h>

#include <algorithm>
#include <new>

#include "media/base_filter.h"
#include "media/base_pin.h"

CEnumPins::CEnumPins(CBaseFilter* pFilter, const CEnumPins* pEnumPins)
    : m_Position(0), m_PinCount(0), m_pFilter(pFilter), m_Version(0), m_cRef(1) {
  if (pEnumPins) {
    m_Position = pEnumPins->m_Position;
    m_PinCount = pEnumPins->m_PinCount;
    m_Version = pEnumPins->m_Version;
    m_PinCache = pEnumPins->m_PinCache;
  } else {
    m_PinCount = m_pFilter->GetPinCount();
    m_Version = m_pFilter->GetPinVersion();
  }
  m_pFilter->AddRef();
}

CEnumPins::~CEnumPins() { m_pFilter->Release(); }

STDMETHODIMP CEnumPins::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) {
    return E_POINTER;
  }
  if (IsEqualIID(riid, IID_IEnumPins) || IsEqualIID(riid, IID_IUnknown)) {
    *ppv = static_cast<IEnumPins*>(this);
    AddRef();
    return S_OK;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CEnumPins::AddRef() {
  return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CEnumPins::Release() {
  LONG lRef = InterlockedDecrement(&m_cRef);
  if (lRef == 0) {
    delete this;
  }
  return static_cast<ULONG>(lRef);
}

BOOL CEnumPins::AreWeOutOfSync() const { return m_pFilter->GetPinVersion() != m_Version; }

// Starts over on the current pin set; the cache keeps pins already returned
// from coming back.
void CEnumPins::Refresh() {
  m_Version = m_pFilter->GetPinVersion();
  m_PinCount = m_pFilter->GetPinCount();
  m_Position = 0;
}

STDMETHODIMP CEnumPins::Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) {
  if (!ppPins) {
    return E_POINTER;
  }
  if (pcFetched) {
    *pcFetched = 0;
  } else if (cPins > 1) {
    return E_INVALIDARG;
  }
  if (AreWeOutOfSync()) {
    Refresh();
  }
  ULONG cFetched = 0;
  while (cFetched < cPins && m_Position < m_PinCount) {
    CBasePin* pPin = m_pFilter->GetPin(m_Position++);
    if (!pPin) {
      // A pin went without a version change: the caller gets none of this call's pins.
      while (cFetched > 0) {
        ppPins[--cFetched]->Release();
        ppPins[cFetched] = nullptr;
        m_PinCache.pop_back();
      }
      return VFW_E_ENUM_OUT_OF_SYNC;
    }
    if (std::find(m_PinCache.begin(), m_PinCache.end(), pPin) != m_PinCache.end()) {
      continue;
    }
    IPin* pIPin = pPin;
    pIPin->AddRef();
    ppPins[cFetched++] = pIPin;
    m_PinCache.push_back(pPin);
  }
  if (pcFetched) {
    *pcFetched = cFetched;
  }
  return cFetched == cPins ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumPins::Skip(ULONG cPins) {
  if (AreWeOutOfSync()) {
    return VFW_E_ENUM_OUT_OF_SYNC;
  }
  if (cPins > static_cast<ULONG>(m_PinCount - m_Position)) {
    return S_FALSE;
  }
  m_Position += static_cast<int>(cPins);
  return S_OK;
}

STDMETHODIMP CEnumPins::Reset() {
  Refresh();
  m_PinCache.clear();
  return S_OK;
}

STDMETHODIMP CEnumPins::Clone(IEnumPins** ppEnum) {
  if (!ppEnum) {
    return E_POINTER;
  }
  *ppEnum = nullptr;
  if (AreWeOutOfSync()) {
    return VFW_E_ENUM_OUT_OF_SYNC;
  }
  *ppEnum = new (std::nothrow) CEnumPins(m_pFilter, this);
  return *ppEnum ? S_OK : E_OUTOFMEMORY;
}
