#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <string>

#include "delivery/format_tags.h"
#include "filter/media_subtypes.h"
#include "media/media_type.h"
#include "tests/filter/connected_camera.h"
#include "tests/media/media_test_support.h"
#include "tests/media/test_filters.h"
#include "tests/support/child_process.h"
#include "tests/support/install_layout.h"

namespace {

// Exit codes of the format_call role.
const int kGranted = 0;
const int kDenied = 5;

CMediaType videoType(const GUID& subtype, LONG width, LONG height, WORD bitCount, DWORD compression,
                     REFERENCE_TIME period) {
  CMediaType type = zarn::test::videoType(width, height);
  type.SetSubtype(&subtype);
  reinterpret_cast<VIDEOINFOHEADER*>(type.pbFormat)->AvgTimePerFrame = period;
  headerOf(type).biBitCount = bitCount;
  headerOf(type).biCompression = compression;
  return type;
}

CMediaType rgb24Type() { return videoType(MEDIASUBTYPE_RGB24, 640, 480, 24, BI_RGB, 333333); }

using FormatGate = MixerRecord;
using MediaTypeNegotiation = HeldPin;

}  // namespace

// args: setformat|setmediatype. Makes one format call as a host would; the installed layout's
// recorder stands as the application it may start.
ZARN_CHILD_ROLE(format_call) {
  HeldFilter held;
  CMediaType type = rgb24Type();
  const HRESULT result =
      args.at(0) == "setformat" ? held.pin()->SetFormat(&type) : held.pin()->SetMediaType(&type);
  return result == S_OK ? kGranted : result == E_ACCESSDENIED ? kDenied : 1;
}

// What a host reads back through GetFormat.
CMediaType currentFormat(CVCamStream* pin) {
  AM_MEDIA_TYPE* format = nullptr;
  pin->GetFormat(&format);
  const CMediaType current(*format);
  DeleteMediaType(format);
  return current;
}

TEST_F(FormatGate, SetFormatRefusesBadTypesWithTheBareValueAndKeepsTheCurrentType) {
  HeldFilter held;
  const CMediaType before = currentFormat(held.pin());
  struct Case {
    const char* name;
    void (*change)(CMediaType&);
  };
  const Case cases[] = {
      {"audio", [](CMediaType& t) { t.SetType(&MEDIATYPE_Audio); }},
      {"empty subtype", [](CMediaType& t) { t.SetSubtype(&GUID_NULL); }},
      {"yuy2", [](CMediaType& t) { t.SetSubtype(&MEDIASUBTYPE_YUY2); }},
      {"no format", [](CMediaType& t) { FreeMediaType(t); }},
      {"foreign format type", [](CMediaType& t) { t.SetFormatType(&FORMAT_WaveFormatEx); }},
      {"short format block", [](CMediaType& t) { t.cbFormat = sizeof(VIDEOINFOHEADER) - 4; }},
      // The block is the host's to free; a pin that kept it would read freed memory.
      {"empty block behind a pointer", [](CMediaType& t) { t.cbFormat = 0; }},
      {"unknown compression",
       [](CMediaType& t) { headerOf(t).biCompression = makeFormatTag("YUY2"); }},
      {"rgb24 subtype at 32 bits", [](CMediaType& t) { headerOf(t).biBitCount = 32; }},
      {"i420 subtype with nv12 compression",
       [](CMediaType& t) { t = videoType(MEDIASUBTYPE_I420, 640, 480, 12, kTagNV12, 0); }},
      // Planar chroma of an odd side, and unpadded 24-bit rows, can't be written whole.
      {"i420 of odd width",
       [](CMediaType& t) { t = videoType(MEDIASUBTYPE_I420, 641, 480, 12, kTagI420, 0); }},
      {"nv12 of odd height",
       [](CMediaType& t) { t = videoType(MEDIASUBTYPE_NV12, 640, 481, 12, kTagNV12, 0); }},
      {"rgb24 rows not in words", [](CMediaType& t) { headerOf(t).biWidth = 642; }},
  };
  EXPECT_EQ(held.pin()->SetFormat(nullptr), HRESULT(-1));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CMediaType type = rgb24Type();
    c.change(type);
    EXPECT_EQ(held.pin()->SetFormat(&type), HRESULT(-1));
    EXPECT_TRUE(currentFormat(held.pin()) == before);
  }
}

TEST_F(FormatGate, SetFormatOnAnUnconnectedPinOnlyTakesTheTypeAndSetMediaTypePublishesIt) {
  struct { const char* name; CMediaType type; int32_t fps; uint32_t fourcc; } cases[] = {
      {"rgb24", videoType(MEDIASUBTYPE_RGB24, 640, 480, 24, BI_RGB, 333333), 30, kTagRGB3},
      {"rgb32", videoType(MEDIASUBTYPE_RGB32, 1920, 1080, 32, BI_RGB, 400000), 25, kTagRGB4},
      {"i420", videoType(MEDIASUBTYPE_I420, 324, 360, 12, kTagI420, 166666), 60, kTagI420},
      // No catalogue row is NV12, yet the type is taken.
      {"nv12", videoType(MEDIASUBTYPE_NV12, 800, 600, 12, kTagNV12, 666666), 15, kTagNV12},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Published before = published();
    HeldFilter held;
    ASSERT_EQ(held.pin()->SetFormat(&c.type), S_OK);
    EXPECT_TRUE(currentFormat(held.pin()) == c.type);
    EXPECT_EQ(held.pin()->CheckMediaType(&c.type), S_OK);
    EXPECT_EQ(published().width, before.width);

    ASSERT_EQ(held.pin()->SetMediaType(&c.type), S_OK);
    Published p = published();
    EXPECT_EQ(p.width, headerOf(c.type).biWidth);
    EXPECT_EQ(p.height, headerOf(c.type).biHeight);
    EXPECT_EQ(p.fps, c.fps);
    EXPECT_EQ(p.fourcc, c.fourcc);
  }
}

TEST_F(FormatGate, HolderIsLookedUpAndOnlyALiveOtherProcessIsTurnedAwayWithANotice) {
  zarn::test::InstallLayout install(zarn::test::Layout::ApplicationOneUp);
  ASSERT_TRUE(install.copied);
  // A role no one plays: the process ends at once.
  auto gone = zarn::test::ChildProcess::startRole("none");
  ASSERT_TRUE(gone.wait(10000));

  enum class Holder { None, Live, Gone };
  struct Case { const wchar_t* call; bool enabled; Holder holder; int exitCode; bool claimKept; };
  const Case cases[] = {
      {L"setformat", false, Holder::None, kDenied, true},
      // A switched-off mixer is answered before a dead holder is cleared.
      {L"setformat", false, Holder::Gone, kDenied, true},
      {L"setformat", true, Holder::Live, kDenied, true},
      {L"setmediatype", true, Holder::Live, kDenied, true},
      // SetMediaType's claim ends with the asking host's filter.
      {L"setformat", true, Holder::Gone, kGranted, false},
      {L"setmediatype", true, Holder::Gone, kGranted, false},
  };
  // This test process is the live holder; the installed copy is the host that asks.
  const uint32_t pids[] = {0, GetCurrentProcessId(), gone.pid()};
  for (const Case& c : cases) {
    const uint32_t holder = pids[int(c.holder)];
    SCOPED_TRACE(testing::Message() << c.call << (c.enabled ? " enabled" : " disabled")
                                    << " holder " << holder);
    DeleteFileW(install.log().c_str());
    mixer.setEnableVCamConnect(c.enabled);
    mixer.setOpeningProcessId(holder);

    auto host = install.start(L"--child format_call " + std::wstring(c.call));
    auto code = host.wait(20000);
    ASSERT_TRUE(code);
    EXPECT_EQ(*code, DWORD(c.exitCode));

    const std::optional<std::string> log = install.settledLog();
    ASSERT_TRUE(log);
    EXPECT_EQ(log->find("VirtualCamBeUsed/") != std::string::npos, c.holder == Holder::Live) << *log;
    EXPECT_EQ(mixer.getOpeningProcessId(), c.claimKept ? holder : 0);
  }
}

TEST_F(FormatGate, TheHolderKeepsStreamingAndItsClaimWhileAnotherHostIsRefused) {
  zarn::test::ComScope com;
  Camera holder;
  ASSERT_TRUE(holder.connected == S_OK && holder.held->Run(0) == S_OK);
  zarn::test::TestInputPin* sink = holder.sink.pin();
  auto arrived = [&](int n) {
    return zarn::test::waitFor(sink->arrived, [&] { return sink->received >= n; });
  };
  ASSERT_TRUE(arrived(1));
  auto host = zarn::test::ChildProcess::startRole("format_call", {"setformat"});
  EXPECT_EQ(host.wait(20000), std::optional<DWORD>(kDenied));
  EXPECT_EQ(mixer.getOpeningProcessId(), GetCurrentProcessId());
  EXPECT_TRUE(arrived(sink->received + 2));
}

TEST_F(FormatGate, SetFormatOnAConnectedPinReconnectsAndPublishesOrWhenItCannotKeepsTheOldOnes) {
  zarn::test::ComScope com;
  HeldFilter held;
  // Held by the platform's own graph manager alone, as a host holds the filters it adds.
  auto* sink = new zarn::test::TestSinkFilter;
  IGraphBuilder* graph = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                             reinterpret_cast<void**>(&graph)),
            S_OK);
  ASSERT_EQ(graph->AddFilter(held.filter, L"camera"), S_OK);
  ASSERT_EQ(graph->AddFilter(sink, L"sink"), S_OK);
  ASSERT_EQ(graph->ConnectDirect(held.pin(), sink->pin(), nullptr), S_OK);
  CMediaType wanted = rgb24Type();
  ASSERT_EQ(held.pin()->SetFormat(&wanted), S_OK);
  AM_MEDIA_TYPE connection = {};
  ASSERT_EQ(sink->pin()->ConnectionMediaType(&connection), S_OK);
  EXPECT_EQ(headerOf(connection).biWidth, 640);
  FreeMediaType(connection);
  // RGB travels as tag zero.
  EXPECT_EQ(published().fourcc, 0u);

  // The sample buffers stay those of the old type, so a larger request would be written past them.
  CMediaType before;
  held.pin()->GetMediaType(0, &before);
  CMediaType larger = videoType(MEDIASUBTYPE_RGB32, 3840, 2160, 32, BI_RGB, 333333);
  for (bool running : {true, false}) {
    SCOPED_TRACE(running ? "running" : "sink refuses");
    if (!running) sink->pin()->accepted = before;
    ASSERT_EQ(running ? held->Pause() : S_OK, S_OK);
    const HRESULT refused = held.pin()->SetFormat(&larger);
    EXPECT_TRUE(running ? refused == VFW_E_NOT_STOPPED : FAILED(refused)) << std::hex << refused;
    held->Stop();
    EXPECT_TRUE(currentFormat(held.pin()) == before);
    AM_MEDIA_TYPE kept = {};
    ASSERT_EQ(sink->pin()->ConnectionMediaType(&kept), S_OK);
    EXPECT_EQ(headerOf(kept).biWidth, 640);
    FreeMediaType(kept);
    EXPECT_EQ(published().width, 640);
  }
  graph->Release();
}

TEST_F(MediaTypeNegotiation, SetFormatAndCheckMediaTypeTakeTheSameSizesAndTheBufferHoldsAFrame) {
  CMediaType other;
  pin->GetMediaType(2, &other);
  EXPECT_EQ(pin->CheckMediaType(&other), E_INVALIDARG);
  EXPECT_EQ(pin->CheckMediaType(nullptr), E_POINTER);
  const struct {
    LONG width, height;
    bool taken;
  } cases[] = {{191, 480, false},  {640, 191, false},   {192, 192, true},  {3840, 3840, true},
               {3841, 2160, false}, {640, 3841, false}, {160, 120, false}, {4096, 2160, false},
               {0, 0, false},       {640, -480, false}};
  IMemAllocator* allocator = zarn::test::newMemAllocator();
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height);
    CMediaType type;
    pin->GetMediaType(0, &type);
    headerOf(type).biWidth = c.width;
    headerOf(type).biHeight = c.height;
    // A host's image size may be stale or short: the buffer holds the whole frame all the same.
    headerOf(type).biSizeImage = 1000;
    EXPECT_EQ(pin->SetFormat(&type), c.taken ? S_OK : HRESULT(-1));
    // Even once a connection made it the current type, a size out of bounds is refused.
    if (!c.taken) pin->SetMediaType(&type);
    EXPECT_EQ(pin->CheckMediaType(&type), c.taken ? S_OK : E_INVALIDARG);
    if (!c.taken) continue;
    ALLOCATOR_PROPERTIES properties = {0, 0, 1, 0};
    EXPECT_EQ(pin->DecideBufferSize(allocator, &properties), S_OK);
    EXPECT_GE(properties.cbBuffer, c.width * c.height * 3);
  }
  allocator->Release();
}
