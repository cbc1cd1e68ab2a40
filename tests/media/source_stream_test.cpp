#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <atomic>
#include <thread>

#include "tests/media/source_sink_fixture.h"

namespace {

using zarn::test::TestStream;
using zarn::test::waitUntil;

// A source connected straight to a sink that offers the framework's own allocator.
class SourceStreamTest : public zarn::test::SourceSinkTest {
 protected:
  void TearDown() override {
    m_source->Stop();
    m_in->releaseHeldSamples();
    SourceSinkTest::TearDown();
  }

  void connect() { ASSERT_EQ(S_OK, m_stream->Connect(m_in, nullptr)); }

  // Stop on another thread, so that a hang fails the test instead of blocking it.
  bool stopWithin(DWORD ms) {
    std::atomic<bool> done{false};
    std::thread stopper([&] {
      m_source->Stop();
      done = true;
    });
    bool stopped = waitUntil([&] { return done.load(); }, ms);
    if (stopped) {
      stopper.join();
    } else {
      stopper.detach();
    }
    return stopped;
  }
};

TEST_F(SourceStreamTest, UnconnectedPinGetsNoThread) {
  EXPECT_EQ(S_OK, m_source->Pause());
  EXPECT_FALSE(m_stream->ThreadExists());
  EXPECT_EQ(S_OK, m_source->Stop());
  EXPECT_EQ(0, m_stream->threadCreates.load());
}

TEST_F(SourceStreamTest, EachPauseAfterStopRunsANewWorker) {
  connect();
  for (int cycle = 1; cycle <= 2; cycle++) {
    SCOPED_TRACE(cycle);
    const int before = m_in->received;
    ASSERT_EQ(S_OK, m_source->Pause());
    EXPECT_TRUE(waitUntil([&] { return m_in->received >= before + 3; }));
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
  connect();
  ASSERT_EQ(S_OK, m_source->Run(0));
  ASSERT_TRUE(waitUntil([&] { return m_in->received == m_stream->buffers; }));
  Sleep(50);
  EXPECT_EQ(m_stream->buffers, m_in->received.load());
  EXPECT_TRUE(stopWithin(5000));
  EXPECT_FALSE(m_stream->ThreadExists());
}

TEST_F(SourceStreamTest, StopDuringFillBufferDeliversThatSample) {
  std::atomic<bool> filling{false};
  m_stream->fill = [&](int n, IMediaSample*) {
    if (n == 2) {
      filling = true;
      Sleep(200);
    }
    return S_OK;
  };
  connect();
  ASSERT_EQ(S_OK, m_source->Pause());
  ASSERT_TRUE(waitUntil([&] { return filling.load(); }));
  ASSERT_TRUE(stopWithin(5000));
  EXPECT_EQ(3, m_stream->fills.load());
  EXPECT_EQ(3, m_in->received.load());
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
  connect();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_in->received = 0;
    m_in->endOfStreams = 0;
    m_in->receiveResult = c.receiveResult;
    const HRESULT fillResult = c.fillResult;
    m_stream->fills = 0;
    m_stream->fill = [fillResult](int n, IMediaSample*) { return n < 2 ? S_OK : fillResult; };
    ASSERT_EQ(S_OK, m_source->Pause());
    ASSERT_TRUE(waitUntil([&] { return m_in->received == c.received; }));
    Sleep(50);
    EXPECT_EQ(c.received, m_in->received.load());
    EXPECT_EQ(c.endOfStreams, m_in->endOfStreams.load());
    // The worker is idle, so it answers an unknown command itself.
    EXPECT_EQ(static_cast<DWORD>(E_NOTIMPL), m_stream->CallWorker(42));
    ASSERT_EQ(S_OK, m_source->Stop());
  }
}

TEST_F(SourceStreamTest, CommandsWhileStreamingGetTheirOwnReplies) {
  connect();
  ASSERT_EQ(S_OK, m_source->Pause());
  EXPECT_EQ(static_cast<DWORD>(E_UNEXPECTED), m_stream->CallWorker(42));
  EXPECT_EQ(static_cast<DWORD>(S_OK), m_stream->CallWorker(TestStream::CMD_RUN));
  const int before = m_in->received;
  EXPECT_TRUE(waitUntil([&] { return m_in->received > before + 2; }));
  EXPECT_EQ(1, m_stream->startPlays.load());
}

TEST_F(SourceStreamTest, FailedThreadCreateFailsPauseAndLeavesTheFilterStopped) {
  m_stream->threadCreateResult = E_ACCESSDENIED;
  connect();
  EXPECT_EQ(E_ACCESSDENIED, m_source->Pause());
  EXPECT_TRUE(m_source->IsStopped());
  EXPECT_EQ(1, m_stream->threadDestroys.load());
  EXPECT_EQ(0, m_stream->fills.load());
}

}  // namespace
