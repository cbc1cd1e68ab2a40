#include "tests/media/test_filters.h"

namespace {

using namespace zarn::test;

using GraphTest = SourceSinkTest;

// The platform's own graph manager gives the sink the default allocator and hears of a failed fill.
TEST_F(GraphTest, AFailedFillReachesTheApplicationThroughTheGraph) {
  IGraphBuilder* graph = nullptr;
  ASSERT_EQ(S_OK, CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_IGraphBuilder, reinterpret_cast<void**>(&graph)));
  IMediaControl* control = nullptr;
  IMediaEvent* events = nullptr;
  graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
  graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&events));
  ASSERT_EQ(S_OK, graph->AddFilter(m_source, L"Test source"));
  ASSERT_EQ(S_OK, graph->AddFilter(m_sink, L"Test sink"));
  m_in->offerAllocator = false;
  ASSERT_EQ(S_OK, graph->Connect(m_stream, m_in));
  ASSERT_NE(nullptr, m_in->notifiedAllocator);

  m_stream->fill = [](int n, IMediaSample*) { return n < 3 ? S_OK : E_ABORT; };
  ASSERT_TRUE(SUCCEEDED(control->Run()));
  OAEVENT queued = 0;
  events->GetEventHandle(&queued);
  bool aborted = false;
  EXPECT_TRUE(waitFor(reinterpret_cast<HANDLE>(queued), [&] {
    long code = 0;
    LONG_PTR p1 = 0, p2 = 0;
    while (!aborted && events->GetEvent(&code, &p1, &p2, 0) == S_OK) {
      events->FreeEventParams(code, p1, p2);
      aborted = code == EC_ERRORABORT && p1 == E_ABORT;
    }
    return aborted;
  }));
  EXPECT_EQ(3, m_in->received.load());
  EXPECT_EQ(1, m_in->endOfStreams.load());
  control->Stop();
  events->Release();
  control->Release();
  graph->Release();
}

}  // namespace
