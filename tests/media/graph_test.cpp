#include "tests/media/test_filters.h"

namespace {

using namespace zarn::test;

// Reads the graph's events until one with `code` and `param1` arrives, for at most 5 s.
bool waitForEvent(IMediaEvent* events, long code, LONG_PTR param1) {
  OAEVENT queued = 0;
  events->GetEventHandle(&queued);
  bool seen = false;
  waitFor(reinterpret_cast<HANDLE>(queued), [&] {
    long got = 0;
    LONG_PTR p1 = 0, p2 = 0;
    while (!seen && events->GetEvent(&got, &p1, &p2, 0) == S_OK) {
      events->FreeEventParams(got, p1, p2);
      seen = got == code && p1 == param1;
    }
    return seen;
  });
  return seen;
}

// The test source and sink inside the platform's own filter graph manager.
class GraphTest : public SourceSinkTest {
 protected:
  void SetUp() override {
    SourceSinkTest::SetUp();
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                     IID_IGraphBuilder, reinterpret_cast<void**>(&m_graph)));
    m_graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&m_control));
    m_graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&m_events));
    ASSERT_EQ(S_OK, m_graph->AddFilter(m_source, L"Test source"));
    ASSERT_EQ(S_OK, m_graph->AddFilter(m_sink, L"Test sink"));
  }
  void TearDown() override {
    m_control->Stop();
    m_events->Release();
    m_control->Release();
    m_graph->Release();
    SourceSinkTest::TearDown();
  }

  IGraphBuilder* m_graph = nullptr;
  IMediaControl* m_control = nullptr;
  IMediaEvent* m_events = nullptr;
};

TEST_F(GraphTest, RunsAndRestartsWithTheDefaultAllocatorAndAFailedFillReachesTheApplication) {
  m_in->offerAllocator = false;
  ASSERT_EQ(S_OK, m_graph->Connect(m_stream, m_in));
  ASSERT_NE(nullptr, m_in->notifiedAllocator);
  EXPECT_NE(m_in->ownAllocator, m_in->notifiedAllocator);
  FILTER_INFO info;
  ASSERT_EQ(S_OK, m_source->QueryFilterInfo(&info));
  EXPECT_STREQ(L"Test source", info.achName);
  ASSERT_NE(nullptr, info.pGraph);
  info.pGraph->Release();

  ASSERT_TRUE(SUCCEEDED(m_control->Run()));
  EXPECT_TRUE(waitFor(m_in->arrived, [&] { return m_in->received >= 5; }));
  FILTER_STATE state;
  EXPECT_EQ(S_OK, m_source->GetState(0, &state));
  EXPECT_EQ(State_Running, state);
  ASSERT_EQ(S_OK, m_control->Stop());
  EXPECT_FALSE(m_stream->ThreadExists());

  m_in->received = 0;
  m_stream->fill = [](int n, IMediaSample*) { return n < 3 ? S_OK : E_ABORT; };
  m_stream->fills = 0;
  ASSERT_TRUE(SUCCEEDED(m_control->Run()));
  EXPECT_TRUE(waitForEvent(m_events, EC_ERRORABORT, E_ABORT));
  EXPECT_EQ(3, m_in->received.load());
  EXPECT_EQ(1, m_in->endOfStreams.load());
  EXPECT_EQ(2, m_stream->threadCreates.load());
}

}  // namespace
