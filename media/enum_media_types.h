#pragma once

#include <windows.h>
#include <strmif.h>

class CBasePin;

// Enumerates a pin's media types; fails out of sync once the pin's type
// version changes, until Reset.
class CEnumMediaTypes : public IEnumMediaTypes {
 public:
  CEnumMediaTypes(CBasePin* pPin, const CEnumMediaTypes* pEnumMediaTypes);
  virtual ~CEnumMediaTypes();
  CEnumMediaTypes(const CEnumMediaTypes&) = delete;
  CEnumMediaTypes& operator=(const CEnumMediaTypes&) = delete;

  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) override;
  STDMETHODIMP Skip(ULONG cMediaTypes) override;
  STDMETHODIMP Reset() override;
  STDMETHODIMP Clone(IEnumMediaTypes** ppEnum) override;

 private:
  BOOL AreWeOutOfSync() const;

  ULONG m_Position;
  CBasePin* m_pPin;
  LONG m_Version;
  volatile LONG m_cRef;
};
