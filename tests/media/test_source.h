#pragma once
// A source filter for the media tests: one stream whose FillBuffer is a script, and which
// counts the worker's life events.
#include <windows.h>
#include <dshow.h>

#include <atomic>
#include <functional>

#include "media/media_type.h"
#include "media/source.h"

namespace zarn::test {

class TestSource;

class TestStream : public CSourceStream {
 public:
  TestStream(HRESULT* phr, TestSource* source);
  ~TestStream() override;

  HRESULT FillBuffer(IMediaSample* pSample) override;
  HRESULT OnThreadCreate() override;
  HRESULT OnThreadDestroy() override;
  HRESULT OnThreadStartPlay() override;
  HRESULT GetMediaType(CMediaType* pMediaType) override;
  using CSourceStream::GetMediaType;
  HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pprop) override;
  HRESULT CompleteConnect(IPin* pReceivePin) override;
  HRESULT Inactive() override;

  // Answers the n-th FillBuffer, counting from 0; S_OK when empty.
  std::function<HRESULT(int n, IMediaSample* sample)> fill;
  CMediaType type;
  LONG buffers = 2;
  // Allocators whose SetProperties DecideBufferSize refuses, counting from the first asked.
  int refuseAllocators = 0;
  HRESULT threadCreateResult = S_OK;
  // A failure here fails CompleteConnect before the base class runs.
  HRESULT completeResult = S_OK;
  // Set when a stop reaches the pin.
  const HANDLE stopping;

  std::atomic<int> fills{0};
  std::atomic<int> threadCreates{0};
  std::atomic<int> threadDestroys{0};
  std::atomic<int> startPlays{0};
  std::atomic<int> allocatorsAsked{0};
  ALLOCATOR_PROPERTIES decided = {};
};

class TestSource : public CSource {
 public:
  TestSource();

  TestStream* stream() const { return static_cast<TestStream*>(m_paStreams[0]); }
  // Adds a further stream, as a filter may during its life.
  TestStream* addStream();
};

}  // namespace zarn::test
