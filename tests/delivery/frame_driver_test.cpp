#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "tests/delivery/pin_beside_filter.h"
#include "tests/link/link_test_support.h"
#include "tests/support/child_process.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_files.h"

using zarn::test::ChildProcess;

namespace {

const wchar_t kFrameEventName[] = L"ZARNCAM_INT_DEF_SINGLE_SYNFRAME_EVENT_20180212";

// A pin whose memory path is scripted, beside the filter's own pin.
class ScriptedStream : public CVCamStream {
 public:
  explicit ScriptedStream(CVCam* filter, HRESULT* hr) : CVCamStream(hr, filter, L"scripted") {}

  void FillBufferVideoMemoryOutput(IMediaSample*) override {
    ++memoryCalls;
    if (memoryScript) memoryScript();
  }

  std::function<void()> memoryScript;
  int memoryCalls = 0;
};

class FrameDriver : public ::testing::Test {
 protected:
  FrameDriver() { fakePlatform.now = 100000; }
  uint64_t logStart = fileSizeOf(cameraLog());
  FakeClock fakePlatform;
  PinBesideFilter<ScriptedStream> pin{fakePlatform};
  ScriptedStream* stream = pin.stream.get();
};

ZARN_CHILD_ROLE(signal_frame_event) {
  HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, kFrameEventName);
  if (!event) return 2;
  SetEvent(event);
  CloseHandle(event);
  return 0;
}

}  // namespace

TEST_F(FrameDriver, EachExceptionKindReachesItsArmAndTheOneNotice) {
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { throw std::invalid_argument("bad"); }, "zarnmixer error std::invalid_argument! err="},
      {[] { throw std::runtime_error("Incorrect buffer length"); }, "zarnmixer error std::exception! err="},
      // The last error was cleared before the path ran.
      {[] { throw 7; }, "zarnmixer error! err=0"},
  };
  for (const auto& [thrower, line] : cases) {
    SCOPED_TRACE(line);
    stream->memoryScript = thrower;
    fakePlatform.notices.clear();
    EXPECT_EQ(stream->FillBuffer(nullptr), S_OK);
    EXPECT_EQ(fakePlatform.notices,
              std::vector<std::wstring>{L"Zarn虚拟摄像头出现异常|虚拟摄像头出现异常"});
    // The exception's own text never reaches the line.
    const std::vector<std::string> found = linesContaining(logStart, line);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].substr(found[0].size() - line.size()), line);
  }
}

TEST_F(FrameDriver, CatchAllLineIsLimitedToOneAMinuteButTheNoticeIsNot) {
  stream->memoryScript = [] { throw 1; };
  fakePlatform.now += 120000;
  stream->FillBuffer(nullptr);
  fakePlatform.now += 59999;
  stream->FillBuffer(nullptr);
  fakePlatform.now += 1;
  stream->FillBuffer(nullptr);
  EXPECT_EQ(fakePlatform.notices.size(), 3u);
  EXPECT_EQ(linesContaining(logStart, "zarnmixer error! err=").size(), 2u);
}

// Names held by objects of another kind, as when an elevated mixer's objects refuse this user:
// the stream keeps its beat without them, and takes them up once they can be had.
TEST(RefusedObjects, StreamKeepsItsBeatWithoutRegionAndEventAndTakesThemUpLater) {
  ASSERT_TRUE(regionGone(kParamMappingName));
  HANDLE regionSquatter = CreateEventW(nullptr, TRUE, FALSE, kParamMappingName);
  HANDLE eventSquatter = CreateMutexW(nullptr, FALSE, kFrameEventName);
  ASSERT_TRUE(regionSquatter && eventSquatter);
  FakeClock clock;
  PinBesideFilter<ScriptedStream> pin{clock};
  ScriptedStream* stream = pin.stream.get();
  const DWORD start = GetTickCount();
  for (int beat = 0; beat < 2; ++beat) EXPECT_EQ(stream->FillBuffer(nullptr), S_OK);
  // Beats of the wait's length, with or without an event to wait on.
  EXPECT_GE(GetTickCount() - start, 360u);
  EXPECT_EQ(stream->memoryCalls, 2);
  EXPECT_EQ(stream->deviceOpeningProcessId(), 0u);

  CloseHandle(regionSquatter);
  CloseHandle(eventSquatter);
  EXPECT_EQ(stream->FillBuffer(nullptr), S_OK);
  EXPECT_EQ(stream->deviceOpeningProcessId(), GetCurrentProcessId());
  // The mixer's signal now ends the wait; only a time-out re-publishes, so a record left
  // unclaimed shows that the signal woke it.
  stream->setDeviceOpeningProcessId(0);
  ChildProcess signaller = ChildProcess::startRole("signal_frame_event");
  ASSERT_EQ(signaller.wait(10000), 0u);
  EXPECT_EQ(stream->FillBuffer(nullptr), S_OK);
  EXPECT_EQ(stream->deviceOpeningProcessId(), 0u);
}
