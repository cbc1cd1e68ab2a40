#pragma once

#include <windows.h>
#include <strmif.h>

#include "media/base_pin.h"

// An output pin that delivers samples through an agreed allocator to the
// peer's IMemInputPin.
class CBaseOutputPin : public CBasePin {
 public:
  CBaseOutputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                 LPCWSTR pName);
  ~CBaseOutputPin() override;

  // An output pin receives no stream control from upstream.
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;

  HRESULT Active() override;
  HRESULT Inactive() override;
  HRESULT CheckConnect(IPin* pPin) override;
  HRESULT BreakConnect() override;
  HRESULT CompleteConnect(IPin* pReceivePin) override;

  // The peer's allocator first, otherwise the one from InitAllocator.
  virtual HRESULT DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc);
  virtual HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pprop) = 0;
  virtual HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                    REFERENCE_TIME* pEndTime, DWORD dwFlags);
  // Hands the sample downstream; the caller keeps its reference.
  virtual HRESULT Deliver(IMediaSample* pSample);
  virtual HRESULT InitAllocator(IMemAllocator** ppAlloc);
  virtual HRESULT DeliverEndOfStream();
  virtual HRESULT DeliverBeginFlush();
  virtual HRESULT DeliverEndFlush();
  virtual HRESULT DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate);

 protected:
  IMemAllocator* m_pAllocator;
  IMemInputPin* m_pInputPin;
};
