#include <gtest/gtest.h>

#include <cstddef>
#include <thread>
#include <utility>

#include "media/allocator.h"
#include "tests/media/media_test_support.h"

namespace {

using namespace zarn::test;

class WatchedAllocator : public CMemAllocator {
 public:
  WatchedAllocator(HRESULT* phr) : CMemAllocator(nullptr, nullptr, phr) {}
  LONG waiting() {
    CAutoLock lock(this);
    return m_lWaiting;
  }
};

class AllocatorTest : public ::testing::Test {
 protected:
  void SetUp() override { m_allocator->AddRef(); }
  void TearDown() override {
    if (m_allocator) {
      m_allocator->Decommit();
      EXPECT_EQ(0u, m_allocator->Release());
    }
  }

  void commit(LONG count, LONG size) {
    ALLOCATOR_PROPERTIES request = {count, size, 1, 0};
    ALLOCATOR_PROPERTIES actual;
    ASSERT_EQ(S_OK, m_allocator->SetProperties(&request, &actual));
    ASSERT_EQ(S_OK, m_allocator->Commit());
  }

  HRESULT m_created = S_OK;
  WatchedAllocator* m_watched = new WatchedAllocator(&m_created);
  IMemAllocator* m_allocator = m_watched;
  LONG m_objectsBefore = CBaseObject::ObjectsActive();
};

TEST_F(AllocatorTest, SetPropertiesRoundsTheSizeToTheAlignment) {
  struct Case { ALLOCATOR_PROPERTIES request; HRESULT expected; LONG actualSize; };
  const Case cases[] = {
      {{1, 1000, 512, 0}, S_OK, 1024},
      {{1, 1000, 512, 24}, S_OK, 1000},
      {{1, 1000, 0, 0}, VFW_E_BADALIGN, 0},
      {{1, 1000, 0x20000, 0}, VFW_E_BADALIGN, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.request.cbAlign);
    ALLOCATOR_PROPERTIES request = c.request;
    ALLOCATOR_PROPERTIES actual = {9, 9, 9, 9};
    EXPECT_EQ(c.expected, m_allocator->SetProperties(&request, &actual));
    EXPECT_EQ(c.actualSize, actual.cbBuffer);
  }
}

TEST_F(AllocatorTest, CommitNeedsAtLeastOneBuffer) {
  ALLOCATOR_PROPERTIES request = {0, 64, 1, 0};
  ALLOCATOR_PROPERTIES actual;
  ASSERT_EQ(S_OK, m_allocator->SetProperties(&request, &actual));
  EXPECT_EQ(VFW_E_SIZENOTSET, m_allocator->Commit());
  IMediaSample* sample = nullptr;
  EXPECT_EQ(VFW_E_NOT_COMMITTED, m_allocator->GetBuffer(&sample, nullptr, nullptr, 0));
}

TEST_F(AllocatorTest, DecommitWithSamplesOutKeepsMemoryAndAllocatorUntilTheLastReturns) {
  commit(2, 64);
  IMediaSample* first = nullptr;
  IMediaSample* second = nullptr;
  ASSERT_EQ(S_OK, m_allocator->GetBuffer(&first, nullptr, nullptr, 0));
  ASSERT_EQ(S_OK, m_allocator->GetBuffer(&second, nullptr, nullptr, 0));
  BYTE* before = nullptr;
  first->GetPointer(&before);
  ASSERT_EQ(S_OK, m_allocator->Decommit());
  ALLOCATOR_PROPERTIES request = {1, 64, 1, 0};
  ALLOCATOR_PROPERTIES actual;
  EXPECT_EQ(VFW_E_BUFFERS_OUTSTANDING, m_allocator->SetProperties(&request, &actual));
  ASSERT_EQ(S_OK, m_allocator->Commit());
  first->Release();
  ASSERT_EQ(S_OK, m_allocator->GetBuffer(&first, nullptr, nullptr, AM_GBF_NOWAIT));
  BYTE* after = nullptr;
  first->GetPointer(&after);
  EXPECT_EQ(before, after);

  ASSERT_EQ(S_OK, m_allocator->Decommit());
  first->Release();
  // The caller's reference is the last but the committed one, held while `second` is out.
  ASSERT_EQ(1u, std::exchange(m_allocator, nullptr)->Release());
  EXPECT_EQ(m_objectsBefore, CBaseObject::ObjectsActive());
  second->Release();
  EXPECT_EQ(m_objectsBefore - 1, CBaseObject::ObjectsActive());
}

TEST_F(AllocatorTest, GetBufferWaitsForAReleasedSampleUnlessTold) {
  commit(1, 64);
  IMediaSample* held = nullptr;
  ASSERT_EQ(S_OK, m_allocator->GetBuffer(&held, nullptr, nullptr, 0));
  IMediaSample* got = reinterpret_cast<IMediaSample*>(1);
  EXPECT_EQ(VFW_E_TIMEOUT, m_allocator->GetBuffer(&got, nullptr, nullptr, AM_GBF_NOWAIT));
  EXPECT_EQ(nullptr, got);
  // The refused call may leave a count of its own.
  const LONG idle = m_watched->waiting();
  HANDLE done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::thread waiter([&] {
    m_allocator->GetBuffer(&got, nullptr, nullptr, 0);
    SetEvent(done);
  });
  EXPECT_TRUE(waitFor(nullptr, [&] { return m_watched->waiting() > idle; }));
  held->Release();
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(done, 5000));
  // A waiter that was never woken ends with the decommit.
  m_allocator->Decommit();
  waiter.join();
  CloseHandle(done);
  EXPECT_EQ(held, got);
  if (got) got->Release();
}

// Two 100-byte samples, with the first one taken.
class MediaSampleTest : public AllocatorTest {
 protected:
  void SetUp() override {
    AllocatorTest::SetUp();
    commit(2, 100);
    IMediaSample* sample = nullptr;
    ASSERT_EQ(S_OK, m_allocator->GetBuffer(&sample, nullptr, nullptr, 0));
    sample->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&m_sample));
    sample->Release();
  }
  void TearDown() override {
    if (m_sample) m_sample->Release();
    AllocatorTest::TearDown();
  }

  AM_SAMPLE2_PROPERTIES properties() {
    AM_SAMPLE2_PROPERTIES props = {};
    EXPECT_EQ(S_OK, m_sample->GetProperties(sizeof(props), reinterpret_cast<BYTE*>(&props)));
    return props;
  }

  IMediaSample2* m_sample = nullptr;
};

TEST_F(MediaSampleTest, TimeRules) {
  REFERENCE_TIME start = 0, end = 0, t = 500, t2 = 900;
  EXPECT_EQ(VFW_E_SAMPLE_TIME_NOT_SET, m_sample->GetTime(&start, &end));
  EXPECT_EQ(S_OK, m_sample->SetTime(&t, nullptr));
  EXPECT_EQ(VFW_S_NO_STOP_TIME, m_sample->GetTime(&start, &end));
  EXPECT_EQ(500, start);
  EXPECT_EQ(501, end);
  EXPECT_EQ(S_OK, m_sample->SetTime(&t, &t2));
  EXPECT_EQ(S_OK, m_sample->GetTime(&start, &end));
  EXPECT_EQ(900, end);
  EXPECT_EQ(S_OK, m_sample->SetTime(nullptr, nullptr));
  EXPECT_EQ(VFW_E_SAMPLE_TIME_NOT_SET, m_sample->GetTime(&start, &end));

  LONGLONG m1 = 10, m2 = 30;
  EXPECT_EQ(S_OK, m_sample->SetMediaTime(&t, &t2));
  EXPECT_EQ(S_OK, m_sample->GetMediaTime(&m1, &m2));
  EXPECT_EQ(500, m1);
  EXPECT_EQ(900, m2);
}

TEST_F(MediaSampleTest, ActualLengthMayFillTheBuffer) {
  EXPECT_EQ(S_OK, m_sample->SetActualDataLength(100));
  EXPECT_EQ(VFW_E_BUFFER_OVERFLOW, m_sample->SetActualDataLength(101));
}

TEST_F(MediaSampleTest, LastReleaseClearsFlagsAndType) {
  CMediaType mt = videoType(4, 4);
  m_sample->SetSyncPoint(TRUE);
  m_sample->SetDiscontinuity(TRUE);
  ASSERT_EQ(S_OK, m_sample->SetMediaType(&mt));
  m_sample->Release();
  m_sample = nullptr;

  // The free list is a stack, so the same sample comes back.
  IMediaSample* again = nullptr;
  ASSERT_EQ(S_OK, m_allocator->GetBuffer(&again, nullptr, nullptr, 0));
  EXPECT_EQ(S_FALSE, again->IsSyncPoint());
  EXPECT_EQ(S_FALSE, again->IsDiscontinuity());
  AM_MEDIA_TYPE* type = reinterpret_cast<AM_MEDIA_TYPE*>(1);
  EXPECT_EQ(S_FALSE, again->GetMediaType(&type));
  EXPECT_EQ(nullptr, type);
  again->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&m_sample));
  again->Release();
}

TEST_F(MediaSampleTest, RefusedPropertiesChangeNothing) {
  struct Case {
    const char* name;
    DWORD length;
    void (*change)(AM_SAMPLE2_PROPERTIES&);
    HRESULT expected;
  };
  const Case cases[] = {
      {"foreign buffer", 64, [](AM_SAMPLE2_PROPERTIES& p) { p.pbBuffer += 1; }, E_INVALIDARG},
      {"other size", 64, [](AM_SAMPLE2_PROPERTIES& p) { p.cbBuffer = 50; }, E_INVALIDARG},
      {"actual beyond size", 64, [](AM_SAMPLE2_PROPERTIES& p) { p.lActual = 101; }, E_INVALIDARG},
      {"type without type", 64,
       [](AM_SAMPLE2_PROPERTIES& p) { p.dwSampleFlags |= AM_SAMPLE_TYPECHANGED; }, E_POINTER},
      {"start time without stop", offsetof(AM_SAMPLE2_PROPERTIES, tStop),
       [](AM_SAMPLE2_PROPERTIES& p) { p.dwSampleFlags |= AM_SAMPLE_TIMEVALID; }, E_INVALIDARG},
      {"too long", 68, [](AM_SAMPLE2_PROPERTIES&) {}, E_INVALIDARG},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    struct { AM_SAMPLE2_PROPERTIES props; DWORD extra; } record = {properties(), 0};
    record.props.cbData = c.length;
    record.props.lActual = 60;
    record.props.dwTypeSpecificFlags = 7;
    c.change(record.props);
    EXPECT_EQ(c.expected, m_sample->SetProperties(c.length, reinterpret_cast<BYTE*>(&record)));
    EXPECT_EQ(100, m_sample->GetActualDataLength());
    EXPECT_EQ(0u, properties().dwTypeSpecificFlags);
  }
}

}  // namespace
