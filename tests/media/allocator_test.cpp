#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "media/allocator.h"
#include "tests/media/media_test_support.h"

namespace {

using zarn::test::waitFor;

// Shows how many threads wait in GetBuffer.
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

  // Sets count and size, then commits.
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
  struct Case {
    ALLOCATOR_PROPERTIES request;
    HRESULT expected;
    LONG actualSize;
  };
  const Case cases[] = {
      {{1, 1000, 512, 0}, S_OK, 1024},
      {{1, 1000, 512, 24}, S_OK, 1000},
      {{1, 1000, 1, 0}, S_OK, 1000},
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
  HANDLE done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::thread waiter([&] {
    m_allocator->GetBuffer(&got, nullptr, nullptr, 0);
    SetEvent(done);
  });
  EXPECT_TRUE(waitFor(nullptr, [&] { return m_watched->waiting() == 1; }));
  held->Release();
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(done, 5000));
  // A waiter that was never woken ends with the decommit.
  m_allocator->Decommit();
  waiter.join();
  CloseHandle(done);
  EXPECT_EQ(held, got);
  if (got) {
    got->Release();
  }
}

}  // namespace
