#pragma once
// The media tests' own filters: a scriptable sink pin and a source whose stream fills by a script.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <vector>

#include "media/source.h"
#include "tests/media/media_test_support.h"

namespace zarn::test {

class TestInputPin : public CBasePin, public IMemInputPin {
 public:
  TestInputPin(CBaseFilter* filter, CCritSec* lock);
  ~TestInputPin() override;

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override { return S_OK; }
  STDMETHODIMP EndFlush() override { return S_OK; }
  HRESULT CheckMediaType(const CMediaType* pmt) override {
    return IsEqualGUID(accepted.majortype, GUID_NULL) || *pmt == accepted ? S_OK : refusal;
  }
  STDMETHODIMP GetAllocator(IMemAllocator** ppAllocator) override;
  STDMETHODIMP NotifyAllocator(IMemAllocator* pAllocator, BOOL) override {
    notifiedAllocator = pAllocator;
    return S_OK;
  }
  STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
  STDMETHODIMP Receive(IMediaSample* pSample) override;
  STDMETHODIMP ReceiveMultiple(IMediaSample**, long, long*) override { return E_NOTIMPL; }
  STDMETHODIMP ReceiveCanBlock() override { return S_FALSE; }

  // The one type accepted; an empty major type accepts any.
  CMediaType accepted;
  // What CheckMediaType answers for a type it doesn't accept.
  HRESULT refusal = E_FAIL;
  bool withholdEnumerator = false;
  bool offerAllocator = false;
  bool holdSamples = false;
  HRESULT receiveResult = S_OK;
  // Called inside each Receive, on the deliverer's thread.
  std::function<void()> onReceive;
  std::atomic<int> received{0};
  std::atomic<int> endOfStreams{0};
  std::atomic<int> enumerations{0};
  // Called at each Receive, on the sender's thread.
  std::function<void(IMediaSample*)> inspect;
  // Set at each Receive and EndOfStream.
  const HANDLE arrived;
  IMemAllocator* const ownAllocator;
  // Not held: only compared, or read while connected.
  IMemAllocator* notifiedAllocator = nullptr;

 private:
  std::vector<IMediaSample*> m_held;
};

class TestSinkFilter : public CBaseFilter {
 public:
  TestSinkFilter() : CBaseFilter(nullptr, nullptr, &m_lock, GUID_NULL), m_pin(this, &m_lock) {}
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? &m_pin : nullptr; }
  TestInputPin* pin() { return &m_pin; }

 private:
  CCritSec m_lock;
  TestInputPin m_pin;
};

class TestStream : public CSourceStream {
 public:
  TestStream(HRESULT* phr, CSource* source)
      : CSourceStream(nullptr, phr, source, L"Out"), type(videoType(8, 4)) {}

  HRESULT FillBuffer(IMediaSample* pSample) override {
    int n = fills++;
    return fill ? fill(n, pSample) : S_OK;
  }
  HRESULT OnThreadCreate() override {
    threadCreates++;
    return threadCreateResult;
  }
  HRESULT OnThreadDestroy() override {
    threadDestroys++;
    return S_OK;
  }
  HRESULT OnThreadStartPlay() override {
    startPlays++;
    return S_OK;
  }
  HRESULT GetMediaType(CMediaType* pMediaType) override { return pMediaType->Set(type); }
  using CSourceStream::GetMediaType;
  HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pprop) override {
    if (allocatorsAsked++ < refuseAllocators) {
      return E_FAIL;
    }
    pprop->cBuffers = buffers;
    pprop->cbBuffer = static_cast<LONG>(type.GetSampleSize());
    return pAlloc->SetProperties(pprop, &decided);
  }

  // Answers the n-th FillBuffer, counting from 0; S_OK when empty.
  std::function<HRESULT(int n, IMediaSample* sample)> fill;
  CMediaType type;
  LONG buffers = 2;
  // Allocators whose SetProperties DecideBufferSize refuses, counting from the first asked.
  int refuseAllocators = 0;
  HRESULT threadCreateResult = S_OK;
  std::atomic<int> fills{0};
  std::atomic<int> threadCreates{0};
  std::atomic<int> threadDestroys{0};
  std::atomic<int> startPlays{0};
  std::atomic<int> allocatorsAsked{0};
  ALLOCATOR_PROPERTIES decided = {};
};

class TestSource : public CSource {
 public:
  TestSource() : CSource(nullptr, nullptr, GUID_NULL) { new TestStream(&m_created, this); }
  TestStream* stream() const { return static_cast<TestStream*>(m_paStreams[0]); }

 private:
  HRESULT m_created = S_OK;
};

// A test source and sink, not connected; at the end no framework object is left.
class SourceSinkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_source->AddRef();
    m_sink->AddRef();
    m_in->offerAllocator = true;
  }
  void TearDown() override {
    if (m_source) {
      m_stream->Disconnect();
    }
    // The sink's connection holds the source.
    m_in->Disconnect();
    if (m_source) {
      EXPECT_EQ(0u, m_source->Release());
    }
    EXPECT_EQ(0u, m_sink->Release());
    EXPECT_EQ(m_objectsBefore, CBaseObject::ObjectsActive());
  }

  ComScope m_com;
  LONG m_objectsBefore = CBaseObject::ObjectsActive();
  TestSource* m_source = new TestSource();
  TestSinkFilter* m_sink = new TestSinkFilter();
  TestStream* m_stream = m_source->stream();
  TestInputPin* m_in = m_sink->pin();
};

}  // namespace zarn::test
