#include "link/device_occupancy.h"

#include <gtest/gtest.h>

#include "link/vcam_param_channel.h"
#include "tests/link/link_test_support.h"
#include "tests/support/child_process.h"

using zarn::test::ChildProcess;

namespace {

ZARN_CHILD_ROLE(claim_camera) {
  VCamParamChannel channel;
  channel.openOrCreate(1280, 720, 25, 0);
  setDeviceOpeningProcessId(&channel, GetCurrentProcessId());
  return idleUntilKilled();
}

bool processOpens(uint32_t pid) {
  HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, pid);
  if (process) CloseHandle(process);
  return process != nullptr;
}

TEST(DeviceOccupancy, ClaimOfAHolderThatHasEndedIsCleared) {
  enum Holder { Alive, KilledHandleOpen, KilledHandleClosed };
  for (Holder state : {Alive, KilledHandleOpen, KilledHandleClosed}) {
    SCOPED_TRACE(state);
    ASSERT_TRUE(regionGone(kParamMappingName));
    VCamParamChannel channel;
    channel.openOrCreate(1280, 720, 25, 0);
    ChildProcess holder = ChildProcess::startRole("claim_camera");
    const uint32_t holderPid = holder.pid();
    ASSERT_TRUE(zarn::test::waitUntil(15000, [&] { return channel.getOpeningProcessId() == holderPid; }));
    if (state != Alive) holder.kill();
    if (state == KilledHandleClosed) {
      // With our handle gone the id stops opening once the system has let go of the process.
      holder = ChildProcess();
      ASSERT_TRUE(zarn::test::waitUntil(10000, [&] { return !processOpens(holderPid); }));
    }

    HandleOpeningProcessTermination(&channel);
    EXPECT_EQ(channel.getOpeningProcessId(), state == Alive ? holderPid : 0u);
  }
}

}  // namespace
