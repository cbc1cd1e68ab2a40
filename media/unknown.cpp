#include "media/unknown.h"

volatile LONG CBaseObject::m_cObjects = 0;

CBaseObject::CBaseObject(LPCTSTR) { InterlockedIncrement(&m_cObjects); }

CBaseObject::~CBaseObject() { InterlockedDecrement(&m_cObjects); }

CUnknown::CUnknown(LPCTSTR pName, LPUNKNOWN pUnk)
    : CBaseObject(pName),
      // Not aggregated: the owner is this object's non-delegating side, whose
      // table has IUnknown's shape.
      m_pUnknown(pUnk ? pUnk : reinterpret_cast<LPUNKNOWN>(static_cast<PNDUNKNOWN>(this))),
      m_cRef(0) {}

STDMETHODIMP CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (!ppv) {
    return E_POINTER;
  }
  if (IsEqualIID(riid, IID_IUnknown)) {
    return GetInterface(reinterpret_cast<LPUNKNOWN>(static_cast<PNDUNKNOWN>(this)), ppv);
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingAddRef() {
  LONG lRef = InterlockedIncrement(&m_cRef);
  return lRef > 1 ? static_cast<ULONG>(lRef) : 1;
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingRelease() {
  LONG lRef = InterlockedDecrement(&m_cRef);
  if (lRef != 0) {
    return static_cast<ULONG>(lRef);
  }
  // A reference taken and dropped by the destructor must not delete twice.
  m_cRef = 1;
  delete this;
  return 0;
}

HRESULT GetInterface(LPUNKNOWN pUnk, void** ppv) {
  if (!ppv) {
    return E_POINTER;
  }
  *ppv = pUnk;
  // Slot 1 of any interface: the owner's AddRef for an interface part, the
  // object's own count for the non-delegating unknown.
  reinterpret_cast<PNDUNKNOWN>(pUnk)->NonDelegatingAddRef();
  return S_OK;
}
