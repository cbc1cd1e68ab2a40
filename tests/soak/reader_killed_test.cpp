// A reader of the frame region that dies between lockReadBuffer and unLockReadBuffer leaves the
// region's mutex abandoned: the next waiter takes it, and a running host goes on.
#include <gtest/gtest.h>
#include <windows.h>

#include "link/capture_share_memory_mgr.h"
#include "tests/soak/frame_writer.h"
#include "tests/soak/probe_host.h"
#include "tests/soak/registered_camera_test.h"

namespace zarn::test {
namespace {

const wchar_t kFrameRegion[] = L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY";
const wchar_t kFrameMutex[] = L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY_Mutex";
const wchar_t kLockedEvent[] = L"ZARN_SOAK_READER_HOLDS_THE_LOCK";

ZARN_CHILD_ROLE(reader_holding_the_lock) {
  CaptureShareMemoryMgr frames(kFrameRegion);
  frames.setEncrypted(true);
  CaptureFrameRecord record;
  if (!frames.attach(false) || !frames.lockReadBuffer(record)) return 1;
  HANDLE locked = OpenEventW(EVENT_MODIFY_STATE, FALSE, kLockedEvent);
  if (!locked) return 2;
  SetEvent(locked);
  // Killed long before this ends, with the lock still held.
  Sleep(60000);
  return 3;
}

using ReaderKilledTest = RegisteredCameraTest;

TEST_F(ReaderKilledTest, AbandonedFrameMutexIsTakenByTheNextWaiterAndTheHostGoesOn) {
  ChildProcess mixer = startFrameWriter(L"zarnmixer-sim.exe", L"--fps 30 --seconds 120");
  ASSERT_TRUE(mixer.valid()) << frameWriterOutput(L"zarnmixer-sim.exe");
  ProbeHost host(L"--cycles 2 --frames 0 --seconds 6");
  ASSERT_TRUE(host.waitForSource("mixer", 30000)) << host.output();

  HANDLE locked = CreateEventW(nullptr, TRUE, FALSE, kLockedEvent);
  ChildProcess reader = ChildProcess::startRole("reader_holding_the_lock");
  ASSERT_EQ(WaitForSingleObject(locked, 20000), WAIT_OBJECT_0);
  CloseHandle(locked);
  reader.kill();

  HANDLE mutex = OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, kFrameMutex);
  ASSERT_NE(mutex, nullptr);
  const DWORD taken = WaitForSingleObject(mutex, 5000);
  if (taken == WAIT_OBJECT_0 || taken == WAIT_ABANDONED) ReleaseMutex(mutex);
  CloseHandle(mutex);
  const ProbeReport report = host.finish(60000);
  printSoakCounts("reader killed", report);

  EXPECT_TRUE(taken == WAIT_OBJECT_0 || taken == WAIT_ABANDONED) << "wait result " << taken;
  EXPECT_TRUE(ranClean(report, 2)) << host.output();
  EXPECT_GT(report.lastCycleMixerFrames, 0);
}

}  // namespace
}  // namespace zarn::test
