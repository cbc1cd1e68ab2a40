#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include "tests/media/source_sink_fixture.h"

namespace {

using zarn::test::waitUntil;

// Reads the graph's events until one with `code` and `param1` arrives, for at most 5 s. Wine
// answers an empty queue at once whatever the time-out, so this polls.
bool waitForEvent(IMediaEvent* events, long code, LONG_PTR param1) {
  const ULONGLONG deadline = GetTickCount64() + 5000;
  while (GetTickCount64() < deadline) {
    long got = 0;
    LONG_PTR p1 = 0, p2 = 0;
    if (events->GetEvent(&got, &p1, &p2, 50) == S_OK) {
      events->FreeEventParams(got, p1, p2);
      if (got == code && p1 == param1) {
        return true;
      }
    } else {
      Sleep(10);
    }
  }
  return false;
}

// The test source and sink inside the platform's own filter graph manager.
class GraphTest : public zarn::test::SourceSinkTest {
 protected:
  void SetUp() override {
    SourceSinkTest::SetUp();
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                     IID_IGraphBuilder, reinterpret_cast<void**>(&m_graph)));
    m_graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&m_control));
    ASSERT_EQ(S_OK, m_graph->AddFilter(m_source, L"Test source"));
    ASSERT_EQ(S_OK, m_graph->AddFilter(m_sink, L"Test sink"));
  }
  void TearDown() override {
    if (m_control) {
      m_control->Stop();
      m_control->Release();
    }
    if (m_graph) {
      m_graph->Release();
    }
    SourceSinkTest::TearDown();
  }

  // Runs the graph until the sink has `count` more samples than before.
  void runFor(int count) {
    const int before = m_in->received;
    ASSERT_TRUE(SUCCEEDED(m_control->Run()));
    EXPECT_TRUE(waitUntil([&] { return m_in->received >= before + count; }));
  }

  IGraphBuilder* m_graph = nullptr;
  IMediaControl* m_control = nullptr;
};

TEST_F(GraphTest, StreamsStopsAndRestartsThroughTheFrameworkAllocator) {
  ASSERT_EQ(S_OK, m_graph->ConnectDirect(m_stream, m_in, nullptr));
  EXPECT_EQ(m_in->ownAllocator, m_in->notifiedAllocator);

  FILTER_INFO info;
  ASSERT_EQ(S_OK, m_source->QueryFilterInfo(&info));
  EXPECT_STREQ(L"Test source", info.achName);
  EXPECT_NE(nullptr, info.pGraph);
  info.pGraph->Release();

  runFor(5);
  FILTER_STATE state;
  EXPECT_EQ(S_OK, m_source->GetState(0, &state));
  EXPECT_EQ(State_Running, state);
  ASSERT_EQ(S_OK, m_control->Stop());
  const int afterStop = m_in->received;
  Sleep(50);
  EXPECT_EQ(afterStop, m_in->received.load());
  EXPECT_FALSE(m_stream->ThreadExists());

  runFor(5);
  ASSERT_EQ(S_OK, m_control->Stop());
  EXPECT_EQ(2, m_stream->threadCreates.load());
}

TEST_F(GraphTest, ConnectsThroughTheGraphsOwnChoiceWithTheDefaultAllocator) {
  m_in->offerAllocator = false;
  ASSERT_EQ(S_OK, m_graph->Connect(m_stream, m_in));
  ASSERT_NE(nullptr, m_in->notifiedAllocator);
  EXPECT_NE(m_in->ownAllocator, m_in->notifiedAllocator);
  runFor(5);
  ASSERT_EQ(S_OK, m_control->Pause());
  ASSERT_EQ(S_OK, m_control->Stop());
}

TEST_F(GraphTest, FailedFillBufferReachesTheApplicationAsErrorAbort) {
  m_stream->fill = [](int n, IMediaSample*) { return n < 3 ? S_OK : E_ABORT; };
  ASSERT_EQ(S_OK, m_graph->ConnectDirect(m_stream, m_in, nullptr));
  IMediaEvent* events = nullptr;
  ASSERT_EQ(S_OK, m_graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&events)));
  ASSERT_TRUE(SUCCEEDED(m_control->Run()));

  EXPECT_TRUE(waitForEvent(events, EC_ERRORABORT, E_ABORT));
  EXPECT_EQ(3, m_in->received.load());
  EXPECT_EQ(1, m_in->endOfStreams.load());
  events->Release();
}

}  // namespace
