#pragma once
// A sink filter for the media tests: one input pin that accepts one type, counts what it
// receives, and can refuse, withhold its allocator or enumerator, keep samples, or answer
// Receive with a chosen code.
#include <windows.h>
#include <dshow.h>

#include <atomic>
#include <vector>

#include "media/base_filter.h"
#include "media/base_pin.h"
#include "media/lock.h"
#include "media/media_type.h"

namespace zarn::test {

class TestSinkFilter;

class TestInputPin : public CBasePin, public IMemInputPin {
 public:
  TestInputPin(TestSinkFilter* filter, CCritSec* lock);
  ~TestInputPin() override;

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;

  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;

  STDMETHODIMP GetAllocator(IMemAllocator** ppAllocator) override;
  STDMETHODIMP NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) override;
  STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
  STDMETHODIMP Receive(IMediaSample* pSample) override;
  STDMETHODIMP ReceiveMultiple(IMediaSample** pSamples, long nSamples,
                               long* nSamplesProcessed) override;
  STDMETHODIMP ReceiveCanBlock() override;

  // Releases the samples kept so far.
  void releaseHeldSamples();

  // The one type accepted; an empty major type accepts any.
  CMediaType accepted;
  // What CheckMediaType answers for a type it doesn't accept.
  HRESULT refusal = E_FAIL;
  // The types offered through EnumMediaTypes.
  std::vector<CMediaType> offered;
  bool withholdEnumerator = false;
  bool offerAllocator = false;
  bool holdSamples = false;
  HRESULT receiveResult = S_OK;

  std::atomic<int> received{0};
  std::atomic<int> endOfStreams{0};
  // Set at each Receive and EndOfStream.
  const HANDLE arrived;
  std::atomic<int> enumerations{0};
  IMemAllocator* const ownAllocator;
  IMemAllocator* notifiedAllocator = nullptr;

 private:
  CCritSec m_heldLock;
  std::vector<IMediaSample*> m_held;
};

class TestSinkFilter : public CBaseFilter {
 public:
  TestSinkFilter();
  ~TestSinkFilter() override;

  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? m_pin : nullptr; }

  TestInputPin* pin() const { return m_pin; }

 private:
  CCritSec m_lock;
  TestInputPin* m_pin;
};

}  // namespace zarn::test
