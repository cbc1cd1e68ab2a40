#pragma once

#include <windows.h>
#include <strmif.h>

#include "media/base_filter.h"
#include "media/lock.h"
#include "media/source_stream.h"

class CBasePin;

// A filter that owns an array of source streams and the one lock they share.
class CSource : public CBaseFilter {
 public:
  CSource(LPCTSTR pName, LPUNKNOWN lpunk, CLSID clsid);
  CSource(LPCTSTR pName, LPUNKNOWN lpunk, CLSID clsid, HRESULT* phr);
  ~CSource() override;

  int GetPinCount() override;
  CBasePin* GetPin(int n) override;
  STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;

  HRESULT AddPin(CSourceStream* pStream);
  HRESULT RemovePin(CSourceStream* pStream);
  int FindPinNumber(IPin* iPin);
  CCritSec* pStateLock() { return &m_cStateLock; }

 protected:
  int m_iPins;
  CSourceStream** m_paStreams;
  CCritSec m_cStateLock;
};
