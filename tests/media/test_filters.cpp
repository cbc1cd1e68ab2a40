#include "tests/media/test_filters.h"

namespace zarn::test {

TestInputPin::TestInputPin(CBaseFilter* filter, CCritSec* lock)
    : CBasePin(nullptr, filter, lock, nullptr, L"In", PINDIR_INPUT),
      accepted(&GUID_NULL),
      arrived(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      ownAllocator(newMemAllocator()) {}

TestInputPin::~TestInputPin() {
  for (IMediaSample* sample : m_held) {
    sample->Release();
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

STDMETHODIMP TestInputPin::GetAllocator(IMemAllocator** ppAllocator) {
  *ppAllocator = offerAllocator ? ownAllocator : nullptr;
  if (!offerAllocator) {
    return VFW_E_NO_ALLOCATOR;
  }
  ownAllocator->AddRef();
  return S_OK;
}

STDMETHODIMP TestInputPin::Receive(IMediaSample* pSample) {
  received++;
  if (inspect) inspect(pSample);
  if (holdSamples) {
    pSample->AddRef();
    m_held.push_back(pSample);
  }
  if (onReceive) {
    onReceive();
  }
  SetEvent(arrived);
  return receiveResult;
}

}  // namespace zarn::test
