#include <gtest/gtest.h>

#include <thread>

#include "tests/filter/connected_camera.h"
#include "tests/media/media_test_support.h"

namespace {

// A graph of the test's own, as strict as a real one about its lock: state changes and
// reconnections take it, and Reconnect lets go of both pins before it connects them again.
class FakeGraph : public IFilterGraph {
 public:
  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  STDMETHODIMP_(ULONG) AddRef() override { return InterlockedIncrement(&refs); }
  STDMETHODIMP_(ULONG) Release() override { return InterlockedDecrement(&refs); }
  STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
  STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
  STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
  STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  STDMETHODIMP ConnectDirect(IPin* out, IPin* in, const AM_MEDIA_TYPE* mt) override {
    return change([&] { return out->Connect(in, mt); });
  }
  STDMETHODIMP Reconnect(IPin* out) override {
    return change([&] {
      IPin* in = nullptr;
      HRESULT hr = out->ConnectedTo(&in);
      if (FAILED(hr)) return hr;
      hr = FAILED(out->Disconnect()) || FAILED(in->Disconnect()) ? E_FAIL : out->Connect(in, nullptr);
      in->Release();
      return hr;
    });
  }
  STDMETHODIMP Disconnect(IPin* pin) override { return pin->Disconnect(); }
  STDMETHODIMP SetDefaultSyncSource() override { return S_OK; }

  template <typename Change>
  HRESULT change(Change change) {
    CAutoLock lock(&m_lock);
    return change();
  }
  LONG refs = 0;

 private:
  CCritSec m_lock;
};

using GraphReconnect = MixerRecord;

TEST_F(GraphReconnect, SetFormatKeepsThePeersReferencesAndFinishesWhileTheGraphChangesState) {
  zarn::test::ComScope com;
  FakeGraph graph;
  Camera camera;
  camera.held->JoinFilterGraph(&graph, L"camera");
  IBaseFilter* sink = camera.sink.filter;
  const ULONG before = (sink->AddRef(), sink->Release());
  CMediaType formats[] = {zarn::test::videoType(640, 480), zarn::test::videoType(1280, 720)};
  ASSERT_EQ(camera.held.pin()->SetFormat(&formats[0]), S_OK);
  EXPECT_EQ((sink->AddRef(), sink->Release()), before);
  EXPECT_EQ(graph.refs, 0);

  // The graph calls the filter under its lock; a SetFormat that called the graph under the
  // filter's would wait for it forever.
  EXPECT_TRUE(zarn::test::finishesWithin(
      [&] {
        std::thread states([&] {
          for (int i = 0; i < 20; i++) {
            graph.change([&] { return camera.held->Pause(); });
            graph.change([&] { return camera.held->Run(0); });
            graph.change([&] { return camera.held->Stop(); });
          }
        });
        for (int i = 0; i < 100; i++) camera.held.pin()->SetFormat(&formats[i % 2]);
        states.join();
      },
      60000));
  camera.held->Stop();
  camera.held->JoinFilterGraph(nullptr, nullptr);
}

}  // namespace
