#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "diag/log_line_queue.h"
#include "link/device_occupancy.h"
#include "link/vcam_param_channel.h"
#include "tests/link/link_test_support.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_files.h"

namespace {

// A name held by another kind of object can be neither opened nor created as a mapping, as
// when an elevated mixer's region refuses this user.
TEST(VCamParamChannel, RegionThatCannotBeMappedIsNoChannelAndSaysSoOnceAMinute) {
  ASSERT_TRUE(regionGone(kParamMappingName));
  HANDLE squatter = CreateEventW(nullptr, TRUE, FALSE, kParamMappingName);
  ASSERT_NE(squatter, nullptr);
  LogLineQueue::create();
  FakeClock clock;
  setPlatform(&clock);
  clock.now = 0x40000000;
  const std::string log = userLogFolder() + "zarncamvcam.log";
  const uint64_t logStart = fileSizeOf(log);

  VCamParamChannel channel;
  channel.openOrCreate(1280, 720, 25, 0);
  ResetEvent(channel.getParamEvent());
  EXPECT_TRUE(channel.isEnableVCamConnect());
  EXPECT_FALSE(publishVideoOutParam(channel, 640, 480, 333333, 0x30323449));
  channel.setOpeningProcessId(GetCurrentProcessId());
  EXPECT_EQ(channel.getOpeningProcessId(), 0u);
  EXPECT_EQ(channel.readFilterVersion(), 0);
  EXPECT_EQ(WaitForSingleObject(channel.getParamEvent(), 0), DWORD(WAIT_TIMEOUT));
  clock.now += 59999;
  channel.setEnableVCamConnect(false);
  clock.now += 1;
  EXPECT_TRUE(channel.isEnableVCamConnect());

  const std::vector<std::string> lines = linesOfPid(readLines(log, logStart), GetCurrentProcessId());
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) {
                            return line.find("info  - VCamParamChannel: no parameter region, error=6;") !=
                                   std::string::npos;
                          }),
            2);
  setPlatform(nullptr);
  CloseHandle(squatter);
}

}  // namespace
