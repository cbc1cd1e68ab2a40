#include "media/enum_media_types.h"

#include <dshow.h>

#include <new>

#include "media/base_pin.h"
#include "media/media_type.h"

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pPin, const CEnumMediaTypes* pEnumMediaTypes)
    : m_Position(0), m_pPin(pPin), m_Version(0), m_cRef(1) {
  if (pEnumMediaTypes) {
    m_Position = pEnumMediaTypes->m_Position;
    m_Version = pEnumMediaTypes->m_Version;
  } else {
    m_Version = m_pPin->GetMediaTypeVersion();
  }
  m_pPin->AddRef();
}

CEnumMediaTypes::~CEnumMediaTypes() { m_pPin->Release(); }

STDMETHODIMP CEnumMediaTypes::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) {
    return E_POINTER;
  }
  if (IsEqualIID(riid, IID_IEnumMediaTypes) || IsEqualIID(riid, IID_IUnknown)) {
    *ppv = static_cast<IEnumMediaTypes*>(this);
    AddRef();
    return S_OK;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CEnumMediaTypes::AddRef() {
  return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CEnumMediaTypes::Release() {
  LONG lRef = InterlockedDecrement(&m_cRef);
  if (lRef == 0) {
    delete this;
  }
  return static_cast<ULONG>(lRef);
}

BOOL CEnumMediaTypes::AreWeOutOfSync() const { return m_pPin->GetMediaTypeVersion() != m_Version; }

STDMETHODIMP CEnumMediaTypes::Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes,
                                   ULONG* pcFetched) {
  if (!ppMediaTypes) {
    return E_POINTER;
  }
  if (AreWeOutOfSync()) {
    return VFW_E_ENUM_OUT_OF_SYNC;
  }
  if (pcFetched) {
    *pcFetched = 0;
  } else if (cMediaTypes > 1) {
    return E_INVALIDARG;
  }
  ULONG cFetched = 0;
  while (cFetched < cMediaTypes) {
    CMediaType mt;
    if (m_pPin->GetMediaType(static_cast<int>(m_Position++), &mt) != S_OK) {
      break;
    }
    AM_MEDIA_TYPE* pType = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (!pType) {
      break;
    }
    // The format block and pUnk move to the new record without a copy.
    *pType = mt;
    mt.cbFormat = 0;
    mt.pbFormat = nullptr;
    mt.pUnk = nullptr;
    ppMediaTypes[cFetched++] = pType;
  }
  if (pcFetched) {
    *pcFetched = cFetched;
  }
  return cFetched == cMediaTypes ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Skip(ULONG cMediaTypes) {
  if (cMediaTypes == 0) {
    return S_OK;
  }
  if (AreWeOutOfSync()) {
    return VFW_E_ENUM_OUT_OF_SYNC;
  }
  m_Position += cMediaTypes;
  CMediaType mt;
  return m_pPin->GetMediaType(static_cast<int>(m_Position - 1), &mt) == S_OK ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Reset() {
  m_Position = 0;
  m_Version = m_pPin->GetMediaTypeVersion();
  return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Clone(IEnumMediaTypes** ppEnum) {
  if (!ppEnum) {
    return E_POINTER;
  }
  *ppEnum = nullptr;
  if (AreWeOutOfSync()) {
    return VFW_E_ENUM_OUT_OF_SYNC;
  }
  *ppEnum = new (std::nothrow) CEnumMediaTypes(m_pPin, this);
  return *ppEnum ? S_OK : E_OUTOFMEMORY;
}
