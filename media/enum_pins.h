#pragma once

#include <windows.h>
#include <strmif.h>

#include <vector>

class CBaseFilter;
class CBasePin;

// Enumerates a filter's pins; follows changes of the pin set through the
// filter's pin version and never returns a pin twice between resets.
class CEnumPins : public IEnumPins {
 public:
  CEnumPins(CBaseFilter* pFilter, const CEnumPins* pEnumPins);
  virtual ~CEnumPins();
  CEnumPins(const CEnumPins&) = delete;
  CEnumPins& operator=(const CEnumPins&) = delete;

  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) override;
  STDMETHODIMP Skip(ULONG cPins) override;
  STDMETHODIMP Reset() override;
  STDMETHODIMP Clone(IEnumPins** ppEnum) override;

 private:
  BOOL AreWeOutOfSync() const;
  void Refresh();

  int m_Position;
  int m_PinCount;
  CBaseFilter* m_pFilter;
  LONG m_Version;
  volatile LONG m_cRef;
  std::vector<CBasePin*> m_PinCache;
};
