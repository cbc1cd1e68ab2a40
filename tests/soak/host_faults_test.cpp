// A real host (zarncam-probe) cycling the registered camera under faults: the mixer killed and
// restarted, a reader killed holding the frame lock, a hostile writer breaking every rule.
#include <gtest/gtest.h>
#include <windows.h>
#include <timeapi.h>

#include <algorithm>

#include "link/capture_share_memory_mgr.h"
#include "tests/e2e/registered_camera.h"
#include "tests/soak/probe_host.h"

namespace zarn::test {
namespace {

// Beyond a cycle's 10 s and what Wine on a busy machine adds, a host hangs.
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
  const ProbeReport report = host.finish("cycles", kCycleTimeoutMs);
  std::printf("[cycles] mixer restarted %d times\n", restarts);

  EXPECT_TRUE(ranClean(report, cycles)) << host.output();
  EXPECT_EQ(restarts, (cycles - 1) / restartEvery);
  EXPECT_GT(report.mixerFrames, 0);
}

using MixerFaultsTest = RegisteredCameraTest;

TEST_F(MixerFaultsTest, HostShowsThePlaceholderWithinASecondOfTheMixersDeathAndTheNextMixersFrames) {
  // The host opens on a running mixer, so it has never shown the placeholder before the kill.
  ChildProcess mixer = startFrameWriter(L"zarnmixer-sim.exe", L"--fps 30 --seconds 60");
  ASSERT_TRUE(mixer.running()) << mixer.output();
  ProbeHost host(L"--cycles 2 --frames 0 --seconds 10");
  ASSERT_TRUE(host.waitForSource("mixer", kCycleTimeoutMs)) << host.output();
  const DWORD killedAt = timeGetTime();
  mixer.kill();
  const std::optional<DWORD> fellBackAt = host.waitForSource("placeholder", 5000);
  ASSERT_TRUE(fellBackAt) << host.output();

  const DWORD restartedAt = timeGetTime();
  ChildProcess next = startFrameWriter(L"zarnmixer-sim.exe", L"--fps 30 --seconds 60");
  ASSERT_TRUE(next.running()) << next.output();
  const std::optional<DWORD> recoveredAt = host.waitForSource("mixer", 5000);
  const ProbeReport report = host.finish("mixer killed", 60000);
  std::printf("[mixer killed] placeholder %ld ms after the kill, mixer frames %ld ms after the restart\n",
              long(*fellBackAt - killedAt), recoveredAt ? long(*recoveredAt - restartedAt) : -1L);

  EXPECT_LT(*fellBackAt - killedAt, 1000u);
  EXPECT_TRUE(recoveredAt) << host.output();
  EXPECT_TRUE(ranClean(report, 2)) << host.output();
  EXPECT_GT(report.lastCycleMixerFrames, 0);
}

TEST_F(MixerFaultsTest, HostileWriterCrashesNoHost) {
  const int seconds = scaleFromEnvironment("ZARN_HOSTILE_SECONDS", 15);
  const int seed = scaleFromEnvironment("ZARN_HOSTILE_SEED", 1);
  const int cycles = std::max(2, seconds / 3);
  // The host gets a new filter every 3 s; the writer keeps on about as long.
  ChildProcess writer = startFrameWriter(
      L"zarnmixer-hostile.exe", L"--seed " + std::to_wstring(seed) + L" --rate 60 --seconds " +
                                    std::to_wstring(cycles * 3));
  ASSERT_TRUE(writer.running()) << writer.output();

  ProbeHost host(L"--cycles " + std::to_wstring(cycles) + L" --frames 0 --seconds 3");
  for (int cycle = 1; cycle < cycles && host.waitForCycle(cycle, kCycleTimeoutMs); ++cycle) {}
  const ProbeReport report = host.finish("hostile writer", kCycleTimeoutMs);
  writer.wait(30000);
  std::printf("[hostile writer] %s", writer.output().c_str());

  EXPECT_TRUE(ranClean(report, cycles)) << host.output();
  EXPECT_GT(report.frames, 0);
}

const wchar_t kLockedEvent[] = L"ZARN_SOAK_READER_HOLDS_THE_LOCK";

ZARN_CHILD_ROLE(reader_holding_the_lock) {
  CaptureShareMemoryMgr frames(L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY");
  frames.setEncrypted(true);
  CaptureFrameRecord record;
  if (!frames.attach(false) || !frames.lockReadBuffer(record)) return 1;
  if (!SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, kLockedEvent))) return 2;
  // Killed long before this ends, with the lock still held.
  Sleep(60000);
  return 3;
}

// A reader that dies between lockReadBuffer and unLockReadBuffer leaves the mutex abandoned;
// the host takes it at its next frame and goes on.
TEST_F(MixerFaultsTest, ReaderKilledHoldingTheFrameLockLeavesTheHostGoingOn) {
  ChildProcess mixer = startFrameWriter(L"zarnmixer-sim.exe", L"--fps 30 --seconds 120");
  ASSERT_TRUE(mixer.running()) << mixer.output();
  ProbeHost host(L"--cycles 2 --frames 0 --seconds 6");
  ASSERT_TRUE(host.waitForSource("mixer", kCycleTimeoutMs)) << host.output();

  HANDLE locked = CreateEventW(nullptr, TRUE, FALSE, kLockedEvent);
  ChildProcess reader = ChildProcess::startRole("reader_holding_the_lock");
  ASSERT_EQ(WaitForSingleObject(locked, 20000), WAIT_OBJECT_0);
  CloseHandle(locked);
  reader.kill();
  const ProbeReport report = host.finish("reader killed", 60000);

  EXPECT_TRUE(ranClean(report, 2)) << host.output();
  EXPECT_GT(report.lastCycleMixerFrames, 0);
}

}  // namespace
}  // namespace zarn::test
