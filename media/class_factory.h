#pragma once

#include <windows.h>
#include <unknwn.h>

#include "media/setup.h"
#include "media/unknown.h"

typedef CUnknown*(WINAPI* LPFNNewCOMObject)(LPUNKNOWN pUnkOuter, HRESULT* phr);
typedef void(WINAPI* LPFNInitRoutine)(BOOL bLoading, const CLSID* rclsid);

// One creatable class of the module.
struct CFactoryTemplate {
  const WCHAR* m_Name;
  const CLSID* m_ClsID;
  LPFNNewCOMObject m_lpfnNew;
  LPFNInitRoutine m_lpfnInit;
  const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;

  BOOL IsClassID(REFCLSID rclsid) const { return IsEqualCLSID(*m_ClsID, rclsid); }
  CUnknown* CreateInstance(LPUNKNOWN pUnk, HRESULT* phr) const { return m_lpfnNew(pUnk, phr); }
};

// Defined by the module: its table of creatable classes.
extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;

class CClassFactory : public IClassFactory, public CBaseObject {
 public:
  explicit CClassFactory(const CFactoryTemplate* pTemplate);

  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP CreateInstance(LPUNKNOWN pUnkOuter, REFIID riid, void** ppv) override;
  STDMETHODIMP LockServer(BOOL fLock) override;

  static BOOL IsLocked() { return m_cLocked > 0; }

 private:
  const CFactoryTemplate* const m_pTemplate;
  volatile LONG m_cRef;
  static int m_cLocked;
};

// The framework's halves of the module exports; the module exports them by these names.
STDAPI DllGetClassObject(REFCLSID rClsID, REFIID riid, void** ppv);
STDAPI DllCanUnloadNow();
