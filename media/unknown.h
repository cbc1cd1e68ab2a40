#pragma once

#include <windows.h>
#include <unknwn.h>

// Counts every live framework object; the module may unload only when it is 0.
class CBaseObject {
 public:
  explicit CBaseObject(LPCTSTR pName);
  virtual ~CBaseObject();
  CBaseObject(const CBaseObject&) = delete;
  CBaseObject& operator=(const CBaseObject&) = delete;

  static LONG ObjectsActive() { return m_cObjects; }

 private:
  static volatile LONG m_cObjects;
};

// IUnknown's shape under other names, so that one object can carry both the
// delegating and the non-delegating set.
struct INonDelegatingUnknown {
  virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
  virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;
};
typedef INonDelegatingUnknown* PNDUNKNOWN;

// Reference counting with aggregation. m_pUnknown is the outer object when
// aggregated, otherwise this object's own non-delegating unknown.
class CUnknown : public INonDelegatingUnknown, public CBaseObject {
 public:
  CUnknown(LPCTSTR pName, LPUNKNOWN pUnk);

  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE NonDelegatingAddRef() override;
  ULONG STDMETHODCALLTYPE NonDelegatingRelease() override;

  LPUNKNOWN GetOwner() const { return m_pUnknown; }

 protected:
  LPUNKNOWN const m_pUnknown;
  volatile LONG m_cRef;
};

// Hands out pUnk through ppv with a reference added through that same pointer.
HRESULT GetInterface(LPUNKNOWN pUnk, void** ppv);

// The IUnknown three of every interface part, forwarded to the owner.
#define DECLARE_IUNKNOWN                                                  \
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {         \
    return GetOwner()->QueryInterface(riid, ppv);                         \
  }                                                                       \
  STDMETHODIMP_(ULONG) AddRef() override { return GetOwner()->AddRef(); } \
  STDMETHODIMP_(ULONG) Release() override { return GetOwner()->Release(); }
