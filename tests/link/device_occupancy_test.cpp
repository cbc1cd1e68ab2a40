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
  enum class Holder { Alive, KilledHandleOpen, KilledHandleClosed };
  const struct {
    const char* name;
    Holder holder;
    bool cleared;
  } cases[] = {
      {"alive", Holder::Alive, false},
      {"killed, still referenced", Holder::KilledHandleOpen, true},
      {"killed and gone", Holder::KilledHandleClosed, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_TRUE(regionGone(kParamMappingName));
    VCamParamChannel channel;
    channel.openOrCreate(1280, 720, 25, 0);
    ChildProcess holder = ChildProcess::startRole("claim_camera");
    const uint32_t holderPid = holder.pid();
    ASSERT_TRUE(zarn::test::waitUntil(15000, [&] { return channel.getOpeningProcessId() == holderPid; }));
    if (c.holder != Holder::Alive) holder.kill();
    if (c.holder == Holder::KilledHandleClosed) {
      // With our handle gone the id stops opening once the system has let go of the process.
      holder = ChildProcess();
      ASSERT_TRUE(zarn::test::waitUntil(10000, [&] { return !processOpens(holderPid); }));
    }

    HandleOpeningProcessTermination(&channel);
    EXPECT_EQ(channel.getOpeningProcessId(), c.cleared ? 0u : holderPid);
  }
}

}  // namespace
