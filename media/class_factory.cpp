#include "media/class_factory.h"

#include <new>

int CClassFactory::m_cLocked = 0;

CClassFactory::CClassFactory(const CFactoryTemplate* pTemplate)
    : CBaseObject(nullptr), m_pTemplate(pTemplate), m_cRef(0) {}

STDMETHODIMP CClassFactory::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) {
    return E_POINTER;
  }
  if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IClassFactory)) {
    *ppv = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

// Not atomic: a factory is not shared between threads before it is handed out.
STDMETHODIMP_(ULONG) CClassFactory::AddRef() { return static_cast<ULONG>(++m_cRef); }

STDMETHODIMP_(ULONG) CClassFactory::Release() {
  LONG lRef = InterlockedDecrement(&m_cRef);
  if (lRef == 0) {
    delete this;
    return 0;
  }
  return static_cast<ULONG>(lRef);
}

STDMETHODIMP CClassFactory::CreateInstance(LPUNKNOWN pUnkOuter, REFIID riid, void** ppv) {
  if (!ppv) {
    return E_POINTER;
  }
  *ppv = nullptr;
  // An aggregated object can only be handed out as its non-delegating unknown.
  if (pUnkOuter && !IsEqualIID(riid, IID_IUnknown)) {
    return E_NOINTERFACE;
  }
  HRESULT hr = S_OK;
  CUnknown* pObj = m_pTemplate->CreateInstance(pUnkOuter, &hr);
  if (!pObj) {
    return FAILED(hr) ? hr : E_OUTOFMEMORY;
  }
  if (FAILED(hr)) {
    delete pObj;
    return hr;
  }
  // The bracket keeps the object alive while the query runs; a failed query
  // leaves the count at 0 and the object deletes itself.
  pObj->NonDelegatingAddRef();
  hr = pObj->NonDelegatingQueryInterface(riid, ppv);
  pObj->NonDelegatingRelease();
  return hr;
}

STDMETHODIMP CClassFactory::LockServer(BOOL fLock) {
  if (fLock) {
    m_cLocked++;
  } else {
    m_cLocked--;
  }
  return S_OK;
}

STDAPI DllGetClassObject(REFCLSID rClsID, REFIID riid, void** ppv) {
  *ppv = nullptr;
  if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IClassFactory)) {
    return E_NOINTERFACE;
  }
  for (int i = 0; i < g_cTemplates; i++) {
    const CFactoryTemplate* pT = &g_Templates[i];
    if (!pT->IsClassID(rClsID)) {
      continue;
    }
    CClassFactory* pFactory = new (std::nothrow) CClassFactory(pT);
    if (!pFactory) {
      return E_OUTOFMEMORY;
    }
    pFactory->AddRef();
    *ppv = static_cast<IClassFactory*>(pFactory);
    return S_OK;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
  return CClassFactory::IsLocked() || CBaseObject::ObjectsActive() ? S_FALSE : S_OK;
}
