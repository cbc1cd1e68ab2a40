#include "tests/media/test_filters.h"

namespace {

using namespace zarn::test;

// A source connected straight to a sink that offers the framework's own allocator.
class SourceStreamTest : public SourceSinkTest {
 protected:
  void TearDown() override {
    if (m_source) m_source->Stop();
    SourceSinkTest::TearDown();
  }

  void SetUp() override {
    SourceSinkTest::SetUp();
    ASSERT_EQ(S_OK, m_stream->Connect(m_in, nullptr));
  }

  bool arrivedAtLeast(int samples, int ends = 0) {
    return waitFor(m_in->arrived,
                   [&] { return m_in->received >= samples && m_in->endOfStreams >= ends; });
  }
};

TEST_F(SourceStreamTest, EachPauseAfterStopRunsANewWorkerThatAnswersCommands) {
  for (int cycle = 1; cycle <= 2; cycle++) {
    SCOPED_TRACE(cycle);
    ASSERT_EQ(S_OK, m_source->Pause());
    EXPECT_TRUE(arrivedAtLeast(m_in->received + 3));
    // Commands while streaming get their own replies and don't restart the loop.
    EXPECT_EQ(static_cast<DWORD>(E_UNEXPECTED), m_stream->CallWorker(42));
    EXPECT_EQ(static_cast<DWORD>(S_OK), m_stream->CallWorker(TestStream::CMD_RUN));
    EXPECT_TRUE(arrivedAtLeast(m_in->received + 3));
    EXPECT_EQ(VFW_E_NOT_STOPPED, m_stream->Disconnect());
    ASSERT_EQ(S_OK, m_source->Stop());
    EXPECT_FALSE(m_stream->ThreadExists());
    EXPECT_EQ(cycle, m_stream->threadCreates.load());
    EXPECT_EQ(cycle, m_stream->threadDestroys.load());
    EXPECT_EQ(cycle, m_stream->startPlays.load());
  }
  EXPECT_EQ(0, m_in->endOfStreams.load());
}

TEST_F(SourceStreamTest, StopWakesAWorkerBlockedOnAFullAllocator) {
  m_in->holdSamples = true;
  ASSERT_EQ(S_OK, m_source->Run(0));
  ASSERT_TRUE(arrivedAtLeast(m_stream->buffers));
  EXPECT_TRUE(finishesWithin([&] { m_source->Stop(); }));
  EXPECT_EQ(m_stream->buffers, m_in->received.load());
}

TEST_F(SourceStreamTest, StopDuringFillBufferDeliversThatSample) {
  HANDLE filling = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  m_stream->fill = [&](int n, IMediaSample*) {
    // This fill ends only once the stop command waits, and its sample must still go out.
    if (n == 2) {
      SetEvent(filling);
      waitFor(nullptr, [&] { return m_stream->CheckRequest(nullptr); });
    }
    return S_OK;
  };
  ASSERT_EQ(S_OK, m_source->Pause());
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(filling, 5000));
  ASSERT_TRUE(finishesWithin([&] { m_source->Stop(); }));
  EXPECT_GE(m_stream->fills.load(), 3);
  EXPECT_EQ(m_stream->fills.load(), m_in->received.load());
  CloseHandle(filling);
}

// A downstream filter may ask for the graph in the middle of a delivery that Stop waits for.
TEST_F(SourceStreamTest, StopReturnsWhileTheSinksReceiveAsksForTheFiltersInfo) {
  m_source->JoinFilterGraph(nullptr, L"source");
  auto* stateLock = reinterpret_cast<CRITICAL_SECTION*>(m_source->pStateLock());
  std::atomic<bool> armed{false};
  FILTER_INFO info = {};
  // The next delivery asks once Stop holds the filter's lock and waits for that delivery.
  m_in->onReceive = [&] {
    if (armed.exchange(false) && waitFor(nullptr, [&] { return stateLock->OwningThread; })) {
      m_source->QueryFilterInfo(&info);
    }
  };
  ASSERT_EQ(S_OK, m_source->Run(0));
  ASSERT_TRUE(arrivedAtLeast(1));
  armed = true;
  ASSERT_TRUE(waitFor(nullptr, [&] { return !armed; }));
  EXPECT_TRUE(finishesWithin([&] { m_source->Stop(); }));
  EXPECT_STREQ(L"source", info.achName);
}

TEST_F(SourceStreamTest, ReleasingARunningFilterEndsItsWorker) {
  ASSERT_EQ(S_OK, m_source->Run(0));
  ASSERT_TRUE(arrivedAtLeast(1));
  m_in->Disconnect();
  EXPECT_TRUE(finishesWithin([&] { EXPECT_EQ(0u, m_source->Release()); }));
  m_source = nullptr;
}

TEST_F(SourceStreamTest, StreamEndingItselfSendsEndOfStreamAndWaitsForStop) {
  struct Case {
    const char* name;
    HRESULT fillResult;
    HRESULT receiveResult;
    int received;
    int endOfStreams;
  };
  const Case cases[] = {
      {"FillBuffer S_FALSE", S_FALSE, S_OK, 2, 1},
      {"FillBuffer failure", E_ABORT, S_OK, 2, 1},
      {"FillBuffer other success", 2, S_OK, 2, 1},
      {"Receive S_FALSE", S_OK, S_FALSE, 1, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_in->received = 0;
    m_in->endOfStreams = 0;
    m_in->receiveResult = c.receiveResult;
    m_stream->fills = 0;
    m_stream->fill = [c](int n, IMediaSample*) { return n < 2 ? S_OK : c.fillResult; };
    ASSERT_EQ(S_OK, m_source->Pause());
    ASSERT_TRUE(arrivedAtLeast(c.received, c.endOfStreams));
    // The last arrival ends the loop, so the worker is idle and answers an unknown command
    // itself; nothing more can come.
    EXPECT_EQ(static_cast<DWORD>(E_NOTIMPL), m_stream->CallWorker(42));
    EXPECT_EQ(c.received, m_in->received.load());
    EXPECT_EQ(c.endOfStreams, m_in->endOfStreams.load());
    ASSERT_EQ(S_OK, m_source->Stop());
  }
}

TEST_F(SourceStreamTest, FailedThreadCreateFailsPauseAndLeavesTheFilterStopped) {
  m_stream->threadCreateResult = E_ACCESSDENIED;
  EXPECT_EQ(E_ACCESSDENIED, m_source->Pause());
  EXPECT_TRUE(m_source->IsStopped());
  EXPECT_EQ(1, m_stream->threadDestroys.load());
  EXPECT_EQ(0, m_stream->fills.load());
}

}  // namespace
