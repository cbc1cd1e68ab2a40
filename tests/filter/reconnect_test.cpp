#include <gtest/gtest.h>
#include <dshow.h>

#include <thread>

#include "tests/filter/fake_graph.h"
#include "tests/filter/held_filter.h"
#include "tests/media/media_test_support.h"
#include "tests/media/test_filters.h"

namespace {

ULONG referencesOf(IBaseFilter* object) {
  object->AddRef();
  return object->Release();
}

// The camera in a graph of the test's own, connected to a test sink.
class GraphReconnect : public MixerRecord {
 protected:
  void SetUp() override {
    MixerRecord::SetUp();
    sink->AddRef();
    held->JoinFilterGraph(&graph, L"camera");
    ASSERT_EQ(held.pin()->Connect(sink->pin(), nullptr), S_OK);
  }
  ~GraphReconnect() override {
    held->Stop();
    held.pin()->Disconnect();
    sink->pin()->Disconnect();
    held->JoinFilterGraph(nullptr, nullptr);
    EXPECT_EQ(sink->Release(), 0u);
  }

  zarn::test::ComScope com;
  FakeGraph graph;
  HeldFilter held;
  zarn::test::TestSinkFilter* sink = new zarn::test::TestSinkFilter;
};

TEST_F(GraphReconnect, SetFormatLeavesThePeerWithTheReferencesItHadWhetherOrNotThePeerTakesIt) {
  CMediaType current;
  held.pin()->GetMediaType(0, &current);
  for (bool refused : {false, true}) {
    SCOPED_TRACE(refused ? "refused" : "taken");
    if (refused) sink->pin()->accepted = current;
    const ULONG before = referencesOf(sink);
    CMediaType wanted = zarn::test::videoType(refused ? 1280 : 640, refused ? 720 : 480);
    const HRESULT hr = held.pin()->SetFormat(&wanted);
    EXPECT_EQ(FAILED(hr), refused) << std::hex << hr;
    EXPECT_EQ(referencesOf(sink), before);
    EXPECT_EQ(graph.refs, 0);
    AM_MEDIA_TYPE connection = {};
    ASSERT_EQ(sink->pin()->ConnectionMediaType(&connection), S_OK);
    EXPECT_EQ(headerOf(connection).biWidth, 640);
    FreeMediaType(connection);
    held.pin()->GetMediaType(0, &current);
  }
}

// The graph holds its lock while it calls the filter, and the filter's Reconnect takes it too.
TEST_F(GraphReconnect, SetFormatRacingTheGraphsStateChangesFinishes) {
  CMediaType formats[] = {zarn::test::videoType(640, 480), zarn::test::videoType(1280, 720)};
  EXPECT_TRUE(zarn::test::finishesWithin(
      [&] {
        std::thread states([&] {
          for (int i = 0; i < 30; i++) {
            graph.change([&] { return held->Pause(); });
            graph.change([&] { return held->Run(0); });
            graph.change([&] { return held->Stop(); });
          }
        });
        for (int i = 0; i < 200; i++) held.pin()->SetFormat(&formats[i % 2]);
        states.join();
      },
      60000));
}

}  // namespace
