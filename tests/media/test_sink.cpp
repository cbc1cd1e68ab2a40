#include "tests/media/test_sink.h"

#include "tests/media/media_test_support.h"

namespace zarn::test {

TestInputPin::TestInputPin(TestSinkFilter* filter, CCritSec* lock)
    : CBasePin(nullptr, filter, lock, nullptr, L"In", PINDIR_INPUT),
      accepted(&GUID_NULL),
      arrived(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      ownAllocator(newMemAllocator()) {}

TestInputPin::~TestInputPin() {
  releaseHeldSamples();
  if (notifiedAllocator) {
    notifiedAllocator->Release();
  }
  ownAllocator->Release();
  CloseHandle(arrived);
}

STDMETHODIMP TestInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (IsEqualIID(riid, IID_IMemInputPin)) {
    return GetInterface(static_cast<IMemInputPin*>(this), ppv);
  }
  return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP TestInputPin::EnumMediaTypes(IEnumMediaTypes** ppEnum) {
  enumerations++;
  if (withholdEnumerator) {
    *ppEnum = nullptr;
    return E_NOTIMPL;
  }
  return CBasePin::EnumMediaTypes(ppEnum);
}

STDMETHODIMP TestInputPin::EndOfStream() {
  endOfStreams++;
  SetEvent(arrived);
  return S_OK;
}

STDMETHODIMP TestInputPin::BeginFlush() { return S_OK; }

STDMETHODIMP TestInputPin::EndFlush() { return S_OK; }

HRESULT TestInputPin::CheckMediaType(const CMediaType* pmt) {
  if (IsEqualGUID(accepted.majortype, GUID_NULL) || *pmt == accepted) {
    return S_OK;
  }
  return refusal;
}

HRESULT TestInputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
  if (static_cast<size_t>(iPosition) >= offered.size()) {
    return VFW_S_NO_MORE_ITEMS;
  }
  return pMediaType->Set(offered[iPosition]);
}

STDMETHODIMP TestInputPin::GetAllocator(IMemAllocator** ppAllocator) {
  *ppAllocator = nullptr;
  if (!offerAllocator) {
    return VFW_E_NO_ALLOCATOR;
  }
  ownAllocator->AddRef();
  *ppAllocator = ownAllocator;
  return S_OK;
}

STDMETHODIMP TestInputPin::NotifyAllocator(IMemAllocator* pAllocator, BOOL) {
  pAllocator->AddRef();
  if (notifiedAllocator) {
    notifiedAllocator->Release();
  }
  notifiedAllocator = pAllocator;
  return S_OK;
}

STDMETHODIMP TestInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) { return E_NOTIMPL; }

STDMETHODIMP TestInputPin::Receive(IMediaSample* pSample) {
  received++;
  if (holdSamples) {
    CAutoLock lock(&m_heldLock);
    pSample->AddRef();
    m_held.push_back(pSample);
  }
  SetEvent(arrived);
  return receiveResult;
}

// The framework delivers one sample at a time.
STDMETHODIMP TestInputPin::ReceiveMultiple(IMediaSample**, long, long*) { return E_NOTIMPL; }

STDMETHODIMP TestInputPin::ReceiveCanBlock() { return S_FALSE; }

void TestInputPin::releaseHeldSamples() {
  std::vector<IMediaSample*> held;
  {
    CAutoLock lock(&m_heldLock);
    held.swap(m_held);
  }
  for (IMediaSample* sample : held) {
    sample->Release();
  }
}

TestSinkFilter::TestSinkFilter()
    : CBaseFilter(nullptr, nullptr, &m_lock, GUID_NULL), m_pin(new TestInputPin(this, &m_lock)) {}

TestSinkFilter::~TestSinkFilter() { delete m_pin; }

}  // namespace zarn::test
