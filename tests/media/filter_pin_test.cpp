#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <string>
#include <thread>
#include <vector>

#include "media/base_filter.h"
#include "media/base_pin.h"
#include "tests/media/source_sink_fixture.h"

namespace {

using zarn::test::videoType;

// A pin that looks connected and answers activation with scripted codes.
class ProbePin : public CBasePin {
 public:
  ProbePin(CBaseFilter* filter, CCritSec* lock, std::vector<std::string>* calls, std::string name)
      : CBasePin(nullptr, filter, lock, nullptr, L"Probe", PINDIR_INPUT),
        m_calls(calls),
        m_name(std::move(name)) {}
  STDMETHODIMP EndOfStream() override { return S_OK; }
  STDMETHODIMP BeginFlush() override { return S_OK; }
  STDMETHODIMP EndFlush() override { return S_OK; }
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }

  HRESULT Active() override { return record("Active", activeResult); }
  HRESULT Inactive() override { return record("Inactive", inactiveResult); }
  HRESULT Run(REFERENCE_TIME) override { return record("Run", S_OK); }

  void pretendConnected() { m_Connected = this; }

  HRESULT activeResult = S_OK;
  HRESULT inactiveResult = S_OK;

 private:
  HRESULT record(const char* what, HRESULT result) {
    m_calls->push_back(m_name + "." + what);
    return result;
  }
  std::vector<std::string>* m_calls;
  std::string m_name;
};

class ProbeFilter : public CBaseFilter {
 public:
  ProbeFilter()
      : CBaseFilter(nullptr, nullptr, &m_lock, GUID_NULL),
        a(this, &m_lock, &calls, "a"),
        b(this, &m_lock, &calls, "b") {
    a.pretendConnected();
    b.pretendConnected();
  }
  int GetPinCount() override { return 2; }
  CBasePin* GetPin(int n) override { return n == 0 ? &a : n == 1 ? &b : nullptr; }

  CCritSec m_lock;
  std::vector<std::string> calls;
  ProbePin a;
  ProbePin b;
};

using Calls = std::vector<std::string>;

TEST(FilterStateTest, StopReachesEveryPinAndReportsTheFirstFailure) {
  ProbeFilter filter;
  ASSERT_EQ(S_OK, filter.Pause());
  filter.calls.clear();
  filter.a.inactiveResult = E_ABORT;
  filter.b.inactiveResult = E_FAIL;
  EXPECT_EQ(E_ABORT, filter.Stop());
  EXPECT_EQ((Calls{"a.Inactive", "b.Inactive"}), filter.calls);
  FILTER_STATE state;
  EXPECT_EQ(S_OK, filter.GetState(0, &state));
  EXPECT_EQ(State_Stopped, state);
}

TEST(FilterStateTest, PauseStopsAtTheFirstFailingPinAndStaysStopped) {
  ProbeFilter filter;
  filter.a.activeResult = E_ABORT;
  EXPECT_EQ(E_ABORT, filter.Pause());
  EXPECT_EQ((Calls{"a.Active"}), filter.calls);
  EXPECT_TRUE(filter.IsStopped());
}

TEST(FilterStateTest, RunFromStoppedPausesFirst) {
  ProbeFilter filter;
  EXPECT_EQ(S_OK, filter.Run(0));
  EXPECT_EQ((Calls{"a.Active", "b.Active", "a.Run", "b.Run"}), filter.calls);
  filter.calls.clear();
  EXPECT_EQ(S_OK, filter.Pause());
  EXPECT_TRUE(filter.calls.empty());
  FILTER_STATE state;
  EXPECT_EQ(S_OK, filter.GetState(INFINITE, &state));
  EXPECT_EQ(State_Paused, state);
  filter.Stop();
}

TEST(FilterStateTest, DisconnectNeedsAStoppedFilter) {
  ProbeFilter filter;
  filter.Pause();
  EXPECT_EQ(VFW_E_NOT_STOPPED, filter.a.Disconnect());
  EXPECT_TRUE(filter.a.IsConnected());
  filter.Stop();
}

using SourcePinTest = zarn::test::SourceSinkTest;

TEST_F(SourcePinTest, InterfacesOfFilterAndPin) {
  struct Case {
    IUnknown* object;
    const IID* iid;
    bool answered;
  };
  IUnknown* filter = static_cast<IBaseFilter*>(m_source);
  IUnknown* pin = static_cast<IPin*>(m_stream);
  const Case cases[] = {
      {filter, &IID_IBaseFilter, true}, {filter, &IID_IMediaFilter, true},
      {filter, &IID_IPersist, true},    {filter, &IID_IAMovieSetup, true},
      {filter, &IID_IUnknown, true},    {filter, &IID_IPin, false},
      {pin, &IID_IPin, true},           {pin, &IID_IQualityControl, true},
      {pin, &IID_IBaseFilter, false},   {pin, &IID_IMemInputPin, false},
  };
  for (const Case& c : cases) {
    void* out = reinterpret_cast<void*>(1);
    HRESULT hr = c.object->QueryInterface(*c.iid, &out);
    EXPECT_EQ(c.answered ? S_OK : E_NOINTERFACE, hr);
    if (SUCCEEDED(hr)) {
      static_cast<IUnknown*>(out)->Release();
    } else {
      EXPECT_EQ(nullptr, out);
    }
  }
}

TEST_F(SourcePinTest, FilterInfoWaitsForAGraphChangeUnderWay) {
  CCritSec* lock = m_source->pStateLock();
  lock->Lock();
  FILTER_INFO info = {};
  std::thread reader([&] { m_source->QueryFilterInfo(&info); });
  // Wine's critical section counts each thread that waits for it.
  EXPECT_TRUE(zarn::test::pollUntil(
      [&] { return reinterpret_cast<CRITICAL_SECTION*>(lock)->LockCount > 0; }));
  m_source->JoinFilterGraph(nullptr, L"joined");
  lock->Unlock();
  reader.join();
  EXPECT_STREQ(L"joined", info.achName);
}

TEST_F(SourcePinTest, PinReferencesKeepTheFilterAlive) {
  IPin* pin = nullptr;
  ASSERT_EQ(S_OK, m_source->FindPin(L"1", &pin));
  m_source->AddRef();
  EXPECT_EQ(2u, m_source->Release());
  EXPECT_EQ(1u, pin->Release());
}

TEST_F(SourcePinTest, FindPinUndoesQueryId) {
  LPWSTR id = nullptr;
  ASSERT_EQ(S_OK, m_stream->QueryId(&id));
  EXPECT_STREQ(L"1", id);
  CoTaskMemFree(id);
  for (const wchar_t* bad : {L"0", L"2", L"abc"}) {
    IPin* pin = reinterpret_cast<IPin*>(1);
    EXPECT_EQ(VFW_E_NOT_FOUND, m_source->FindPin(bad, &pin));
    EXPECT_EQ(nullptr, pin);
  }
}

TEST_F(SourcePinTest, UnconnectedPinAnswers) {
  CMediaType other = videoType(2, 2);
  EXPECT_EQ(S_FALSE, m_stream->QueryAccept(&other));
  EXPECT_EQ(S_FALSE, m_stream->Disconnect());
  // The caller's record may hold garbage; it must be overwritten, not freed.
  AM_MEDIA_TYPE mt;
  memset(&mt, 0xCD, sizeof(mt));
  EXPECT_EQ(VFW_E_NOT_CONNECTED, m_stream->ConnectionMediaType(&mt));
  EXPECT_EQ(0u, mt.cbFormat);
  EXPECT_EQ(nullptr, mt.pUnk);
}

}  // namespace
