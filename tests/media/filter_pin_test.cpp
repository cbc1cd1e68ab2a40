#include <string>
#include <thread>

#include "tests/media/test_filters.h"

namespace {

using namespace zarn::test;

// A pin that may look connected, logs its activation calls and answers them with scripted codes.
class ProbePin : public TestInputPin {
 public:
  ProbePin(CBaseFilter* filter, CCritSec* lock, std::string* calls, const char* name,
           bool connected)
      : TestInputPin(filter, lock), m_calls(calls), m_name(name) {
    m_Connected = connected ? this : nullptr;
  }
  HRESULT Active() override { return record(".Active ", activeResult); }
  HRESULT Inactive() override { return record(".Inactive ", inactiveResult); }
  HRESULT Run(REFERENCE_TIME) override { return record(".Run ", S_OK); }

  HRESULT activeResult = S_OK;
  HRESULT inactiveResult = S_OK;

 private:
  HRESULT record(const char* what, HRESULT result) {
    *m_calls += m_name + what;
    return result;
  }
  std::string* m_calls;
  std::string m_name;
};

class ProbeFilter : public CBaseFilter {
 public:
  ProbeFilter() : CBaseFilter(nullptr, nullptr, &m_lock, GUID_NULL) {}
  int GetPinCount() override { return 3; }
  CBasePin* GetPin(int n) override {
    CBasePin* pins[] = {&a, &b, &unconnected};
    return n >= 0 && n < 3 ? pins[n] : nullptr;
  }

  CCritSec m_lock;
  std::string calls;
  ProbePin a{this, &m_lock, &calls, "a", true};
  ProbePin b{this, &m_lock, &calls, "b", true};
  ProbePin unconnected{this, &m_lock, &calls, "unconnected", false};
};

TEST(FilterStateTest, ChangesReachEveryPinInOrderReportTheFirstFailureAndBlockDisconnect) {
  struct Case {
    const char* name;
    HRESULT aActive, aInactive, bInactive;
    FILTER_STATE from, to;
    HRESULT expected;
    const char* calls;
    FILTER_STATE state;
  };
  const Case cases[] = {
      {"stop tells every pin", S_OK, E_ABORT, E_FAIL, State_Paused, State_Stopped, E_ABORT,
       "a.Inactive b.Inactive ", State_Stopped},
      {"pause ends at a failing pin", E_ABORT, S_OK, S_OK, State_Stopped, State_Paused, E_ABORT,
       "a.Active ", State_Stopped},
      {"run from stopped pauses first", S_OK, S_OK, S_OK, State_Stopped, State_Running, S_OK,
       "a.Active b.Active a.Run b.Run ", State_Running},
      {"pause from running tells no pin", S_OK, S_OK, S_OK, State_Running, State_Paused, S_OK, "",
       State_Paused},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ProbeFilter filter;
    auto change = [&](FILTER_STATE to) {
      return to == State_Stopped ? filter.Stop()
                                 : to == State_Paused ? filter.Pause() : filter.Run(0);
    };
    if (c.from != State_Stopped) {
      ASSERT_EQ(S_OK, change(c.from));
    }
    filter.calls.clear();
    filter.a.activeResult = c.aActive;
    filter.a.inactiveResult = c.aInactive;
    filter.b.inactiveResult = c.bInactive;
    EXPECT_EQ(c.expected, change(c.to));
    EXPECT_EQ(c.calls, filter.calls);
    FILTER_STATE state;
    EXPECT_EQ(S_OK, filter.GetState(0, &state));
    EXPECT_EQ(c.state, state);
    if (state != State_Stopped) {
      EXPECT_EQ(VFW_E_NOT_STOPPED, filter.a.Disconnect());
      EXPECT_TRUE(filter.a.IsConnected());
    }
    filter.Stop();
  }
}

using SourcePinTest = SourceSinkTest;

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
  EXPECT_TRUE(
      waitFor(nullptr, [&] { return reinterpret_cast<CRITICAL_SECTION*>(lock)->LockCount > 0; }));
  m_source->JoinFilterGraph(nullptr, L"joined");
  lock->Unlock();
  reader.join();
  EXPECT_STREQ(L"joined", info.achName);
}

TEST_F(SourcePinTest, FindPinUndoesQueryIdAndThePinKeepsTheFilterAlive) {
  LPWSTR id = nullptr;
  ASSERT_EQ(S_OK, m_stream->QueryId(&id));
  EXPECT_STREQ(L"1", id);
  IPin* pin = nullptr;
  ASSERT_EQ(S_OK, m_source->FindPin(id, &pin));
  CoTaskMemFree(id);
  m_source->AddRef();
  EXPECT_EQ(2u, m_source->Release());
  EXPECT_EQ(1u, pin->Release());
  for (const wchar_t* bad : {L"0", L"2", L"abc"}) {
    pin = reinterpret_cast<IPin*>(1);
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

using EnumeratorsTest = SourceSinkTest;

TEST_F(EnumeratorsTest, PinEnumeratorReturnsAnAddedPinButRefusesSkipAndCloneUntilReset) {
  IEnumPins* pins = nullptr;
  ASSERT_EQ(S_OK, m_source->EnumPins(&pins));
  IPin* got[2] = {};
  ULONG fetched = 0;
  ASSERT_EQ(S_OK, pins->Next(1, got, &fetched));
  EXPECT_EQ(static_cast<IPin*>(m_stream), got[0]);
  got[0]->Release();

  TestStream* added = m_source->addStream();
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pins->Skip(1));
  IEnumPins* clone = reinterpret_cast<IEnumPins*>(1);
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pins->Clone(&clone));
  EXPECT_EQ(nullptr, clone);
  EXPECT_EQ(S_FALSE, pins->Next(2, got, &fetched));
  ASSERT_EQ(1u, fetched);
  EXPECT_EQ(static_cast<IPin*>(added), got[0]);
  got[0]->Release();

  EXPECT_EQ(S_OK, pins->Reset());
  EXPECT_EQ(S_FALSE, pins->Skip(3));
  ASSERT_EQ(S_OK, pins->Clone(&clone));
  clone->Release();
  pins->Release();
}

TEST_F(EnumeratorsTest, PinGoneWithoutAVersionChangeGivesOutOfSyncAndNoReferences) {
  TestStream* second = m_source->addStream();
  IEnumPins* pins = nullptr;
  ASSERT_EQ(S_OK, m_source->EnumPins(&pins));
  delete second;
  IPin* got[2] = {};
  ULONG fetched = 9;
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pins->Next(2, got, &fetched));
  EXPECT_EQ(0u, fetched);
  EXPECT_EQ(nullptr, got[0]);
  pins->Release();
}

TEST_F(EnumeratorsTest, MediaTypeEnumeratorIsOutOfSyncUntilReset) {
  IEnumMediaTypes* types = nullptr;
  ASSERT_EQ(S_OK, m_stream->EnumMediaTypes(&types));
  m_stream->IncrementTypeVersion();

  AM_MEDIA_TYPE* got[2] = {};
  ULONG fetched = 7;
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, types->Next(1, got, &fetched));
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, types->Skip(1));
  IEnumMediaTypes* clone = reinterpret_cast<IEnumMediaTypes*>(1);
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, types->Clone(&clone));
  EXPECT_EQ(nullptr, clone);

  ASSERT_EQ(S_OK, types->Reset());
  ASSERT_EQ(S_FALSE, types->Next(2, got, &fetched));
  ASSERT_EQ(1u, fetched);
  EXPECT_TRUE(m_stream->type == *static_cast<CMediaType*>(got[0]));
  DeleteMediaType(got[0]);
  types->Release();
}

}  // namespace
