#include "tests/media/test_source.h"

#include "tests/media/media_test_support.h"

namespace zarn::test {

TestStream::TestStream(HRESULT* phr, TestSource* source)
    : CSourceStream(nullptr, phr, source, L"Out"),
      type(videoType(8, 4)),
      stopping(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

TestStream::~TestStream() { CloseHandle(stopping); }

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

HRESULT TestStream::GetMediaType(CMediaType* pMediaType) { return pMediaType->Set(type); }

HRESULT TestStream::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pprop) {
  if (allocatorsAsked++ < refuseAllocators) {
    return E_FAIL;
  }
  pprop->cBuffers = buffers;
  pprop->cbBuffer = static_cast<LONG>(type.GetSampleSize());
  return pAlloc->SetProperties(pprop, &decided);
}

HRESULT TestStream::CompleteConnect(IPin* pReceivePin) {
  return FAILED(completeResult) ? completeResult : CSourceStream::CompleteConnect(pReceivePin);
}

HRESULT TestStream::Inactive() {
  SetEvent(stopping);
  return CSourceStream::Inactive();
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
