#include "tests/media/test_filters.h"

namespace zarn::test {

TestInputPin::TestInputPin(CBaseFilter* filter, CCritSec* lock)
    : CBasePin(nullptr, filter, lock, nullptr, L"In", PINDIR_INPUT),
      accepted(&GUID_NULL),
      arrived(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      ownAllocator(newMemAllocator()) {}

TestInputPin::~TestInputPin() {
  releaseHeldSamples();
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
  if (holdSamples) {
    pSample->AddRef();
    m_held.push_back(pSample);
  }
  SetEvent(arrived);
  return receiveResult;
}

void TestInputPin::releaseHeldSamples() {
  for (IMediaSample* sample : m_held) {
    sample->Release();
  }
  m_held.clear();
}

HRESULT TestStream::FillBuffer(IMediaSample* pSample) {
  int n = fills++;
  return fill ? fill(n, pSample) : S_OK;
}

HRESULT TestStream::OnThreadCreate() {
  threadCreates++;
  return threadCreateResult;
}

HRESULT TestStream::OnThreadDestroy() {
  threadDestroys++;
  return S_OK;
}

HRESULT TestStream::OnThreadStartPlay() {
  startPlays++;
  return S_OK;
}

HRESULT TestStream::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pprop) {
  if (allocatorsAsked++ < refuseAllocators) {
    return E_FAIL;
  }
  pprop->cBuffers = buffers;
  pprop->cbBuffer = static_cast<LONG>(type.GetSampleSize());
  return pAlloc->SetProperties(pprop, &decided);
}

TestSource::TestSource() : CSource(nullptr, nullptr, GUID_NULL) {
  HRESULT hr = S_OK;
  new TestStream(&hr, this);
}

TestStream* TestSource::addStream() {
  HRESULT hr = S_OK;
  TestStream* stream = new TestStream(&hr, this);
  IncrementPinVersion();
  return stream;
}

}  // namespace zarn::test
