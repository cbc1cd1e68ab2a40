// A real host (zarncam-probe) opening, formatting, running and stopping the registered camera
// over and over while the mixer is killed and restarted, and a host killed while it holds it.
#include <gtest/gtest.h>
#include <windows.h>

#include "link/vcam_param_channel.h"
#include "tests/soak/probe_host.h"
#include "tests/e2e/registered_camera.h"

namespace zarn::test {
namespace {

// A cycle takes 10 frames or at most 10 s; Wine and a busy machine add to that.
const DWORD kCycleTimeoutMs = 30000;

using HostCyclesTest = RegisteredCameraTest;

TEST_F(HostCyclesTest, CyclesWithMixerRestartsLeaveNoHandleAndNoClaim) {
  const int cycles = scaleFromEnvironment("ZARN_SOAK_CYCLES", 20);
  const int restartEvery = scaleFromEnvironment("ZARN_SOAK_RESTART_EVERY", 7);
  const std::wstring mixerArguments = L"--fps 30 --seconds " + std::to_wstring(cycles * 30 + 60);
  // The first cycle, whose handles are the base, runs without a mixer: the stream then decodes
  // the stored picture, and the decoder's one-time handles are counted in the base.
  ProbeHost host(L"--cycles " + std::to_wstring(cycles) + L" --frames 10 --seconds 10");
  ASSERT_TRUE(host.waitForCycle(1, kCycleTimeoutMs)) << host.output();
  ChildProcess mixer = startFrameWriter(L"zarnmixer-sim.exe", mixerArguments);
  ASSERT_TRUE(mixer.running()) << mixer.output();

  int restarts = 0;
  for (int cycle = 2; cycle < cycles && host.waitForCycle(cycle, kCycleTimeoutMs); ++cycle) {
    if (cycle % restartEvery != 0) continue;
    mixer.kill();
    mixer = startFrameWriter(L"zarnmixer-sim.exe", mixerArguments);
    restarts += mixer.running();
  }
  const ProbeReport report = host.finish(kCycleTimeoutMs);
  std::printf("[cycles] mixer restarted %d times\n", restarts);
  printSoakCounts("cycles", report);

  EXPECT_TRUE(ranClean(report, cycles)) << host.output();
  EXPECT_EQ(restarts, (cycles - 1) / restartEvery);
  EXPECT_GT(report.mixerFrames, 0);
}

TEST_F(HostCyclesTest, HostKilledWhileHoldingTheCameraLeavesItToTheNextHost) {
  ChildProcess mixer = startFrameWriter(L"zarnmixer-sim.exe", L"--fps 30 --seconds 120");
  ASSERT_TRUE(mixer.running()) << mixer.output();
  VCamParamChannel params;
  params.openOrCreate(1280, 720, 25, 0);

  ProbeHost holder(L"--cycles 1 --frames 0 --seconds 60");
  ASSERT_TRUE(holder.waitForSource("mixer", kCycleTimeoutMs)) << holder.output();
  const DWORD holderPid = holder.process().pid();
  ASSERT_EQ(params.getOpeningProcessId(), holderPid);
  holder.process().kill();
  EXPECT_EQ(params.getOpeningProcessId(), holderPid);

  ProbeHost next(L"--cycles 3 --frames 10 --seconds 10");
  const ProbeReport report = next.finish(kCycleTimeoutMs * 3);
  printSoakCounts("killed holder", report);

  EXPECT_TRUE(ranClean(report, 3)) << next.output();
  EXPECT_GT(report.mixerFrames, 0);
}

}  // namespace
}  // namespace zarn::test
