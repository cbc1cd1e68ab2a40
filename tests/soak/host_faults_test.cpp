// A real host (zarncam-probe) cycling the registered camera under faults: the mixer killed and
// restarted, a reader killed holding the frame lock, a hostile writer breaking every rule.
#include <gtest/gtest.h>
#include <windows.h>
#include <timeapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

#include "link/capture_share_memory_mgr.h"
#include "tests/e2e/registered_camera.h"

namespace zarn::test {
namespace {

// Beyond a cycle's 10 s and what Wine on a busy machine adds, a host hangs.
const DWORD kCycleTimeoutMs = 30000;

// The next whole line of `text` from `at`, without its line end; false when none is complete.
bool nextLine(const std::string& text, size_t& at, std::string& line) {
  const size_t end = text.find('\n', at);
  if (end == std::string::npos) return false;
  line = text.substr(at, end - at);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  at = end + 1;
  return true;
}

// What follows `start` on the last whole line that begins with it; `count` counts such lines.
std::string lastLineAfter(const std::string& text, const std::string& start, int* count = nullptr) {
  std::string last, line;
  for (size_t at = 0; nextLine(text, at, line);) {
    if (line.compare(0, start.size(), start) != 0) continue;
    last = line.substr(start.size());
    if (count) ++*count;
  }
  return last;
}

// A probe's totals: cycles done, crashes, frames, handles, claim.
struct ProbeReport {
  std::optional<DWORD> exitCode;  // absent when the probe was still running at the bound
  int cyclesDone = 0;
  int cyclesFailed = 0;
  int mixerFrames = 0;
  int lastCycleMixerFrames = 0;
  unsigned long handlesAfterFirst = 0;
  unsigned long handlesAfterLast = 0;
  std::optional<uint32_t> claimAfterStop;  // absent when the probe never printed it
};

// Every cycle ran, no host crashed or hung, the handle count didn't grow, and the camera was
// given back.
::testing::AssertionResult ranClean(const ProbeReport& report, int cycles) {
  std::ostringstream faults;
  if (!report.exitCode) faults << " the host hung and was stopped;";
  // Above the probe's own exit codes: a fault ended it.
  if (report.exitCode > 5u) {
    faults << " the host crashed with 0x" << std::hex << *report.exitCode << std::dec << ";";
  }
  if (report.cyclesDone != cycles || report.cyclesFailed != 0) {
    faults << " " << report.cyclesDone << " of " << cycles << " cycles done, " << report.cyclesFailed
           << " failed;";
  }
  if (report.handlesAfterLast > report.handlesAfterFirst) {
    faults << " handles grew from " << report.handlesAfterFirst << " to " << report.handlesAfterLast << ";";
  }
  if (report.claimAfterStop != std::optional<uint32_t>(0)) faults << " the camera was not given back;";
  if (faults.str().empty()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << faults.str();
}

// zarncam-probe in its cycle mode, its output read back while it runs; a cycle ends by itself or
// when the test has seen what it waited for.
class ProbeHost {
 public:
  explicit ProbeHost(const std::wstring& arguments)
      : m_process(ChildProcess::startWithOutput(executableFolder() + L"zarncam-probe.exe",
                                                arguments + L" --until " + kCycleEnd)) {}
  ~ProbeHost() { CloseHandle(m_cycleEnd); }

  std::string output() const { return m_process.output(); }
  // Ends the cycle under way.
  void endCycle() { SetEvent(m_cycleEnd); }

  // Waits for a line that starts with `start`, after the lines already taken by earlier calls;
  // the rest of the line, or nothing at the bound.
  std::optional<std::string> waitForLine(const std::string& start, DWORD timeoutMs) {
    std::optional<std::string> rest;
    waitUntil(timeoutMs, [&] {
      const std::string text = output();
      std::string line;
      while (!rest && nextLine(text, m_readUpTo, line)) {
        if (line.compare(0, start.size(), start) == 0) rest = line.substr(start.size());
      }
      return rest.has_value();
    });
    return rest;
  }
  // True once the line of cycle `cycle` is out, false at the bound: a cycle that hangs.
  bool waitForCycle(int cycle, DWORD timeoutMs) {
    return waitForLine("cycle " + std::to_string(cycle) + " of", timeoutMs).has_value();
  }
  // "frames from the mixer" or "... placeholder": the time (timeGetTime) of its first frame.
  std::optional<DWORD> waitForSource(const std::string& source, DWORD timeoutMs) {
    auto rest = waitForLine("frames from the " + source + " at ", timeoutMs);
    return rest ? std::optional<DWORD>(std::strtoul(rest->c_str(), nullptr, 10)) : std::nullopt;
  }

  // Waits for the probe to end, stopping it at the bound; reads its totals and prints them after
  // `scenario`.
  ProbeReport finish(const char* scenario, DWORD timeoutMs) {
    ProbeReport report;
    report.exitCode = m_process.wait(timeoutMs);
    if (!report.exitCode) m_process.kill();
    const std::string text = output();
    // Counted from the cycles' own lines too, for a probe that never reached its totals.
    const std::string lastCycle = lastLineAfter(text, "cycle ", &report.cyclesDone);
    const size_t frames = lastCycle.find(" frames (");
    if (frames != std::string::npos) report.lastCycleMixerFrames = std::atoi(lastCycle.c_str() + frames + 9);
    std::sscanf(lastLineAfter(text, "cycles done: ").c_str(), "%d of %*d, %d failed", &report.cyclesDone,
                &report.cyclesFailed);
    std::sscanf(lastLineAfter(text, "frames delivered: ").c_str(), "%*d (mixer %d", &report.mixerFrames);
    std::sscanf(lastLineAfter(text, "handle count: ").c_str(), "%lu after the first cycle, %lu",
                &report.handlesAfterFirst, &report.handlesAfterLast);
    const std::string claim = lastLineAfter(text, "claim after the last stop: ");
    if (!claim.empty()) report.claimAfterStop = uint32_t(std::strtoul(claim.c_str(), nullptr, 10));
    // The probe's totals on the test's output, for the long runs of the scripts.
    std::printf("[%s] %s", scenario, text.substr(std::min(text.find("cycles done: "), text.size())).c_str());
    std::fflush(stdout);
    return report;
  }

 private:
  static constexpr wchar_t kCycleEnd[] = L"ZARN_SOAK_END_OF_CYCLE";
  const HANDLE m_cycleEnd = CreateEventW(nullptr, FALSE, FALSE, kCycleEnd);
  ChildProcess m_process;
  size_t m_readUpTo = 0;
};

// A whole number from the environment, for the long runs of the scripts; `fallback` without it.
int scaleFromEnvironment(const char* name, int fallback) {
  const char* value = std::getenv(name);
  return value && std::atoi(value) > 0 ? std::atoi(value) : fallback;
}

// Ends the host's first cycle and, once the second has frames of the mixer, the second.
void endCycleWithTheMixersFramesInTheNext(ProbeHost& host, int cycle = 1) {
  host.endCycle();
  if (host.waitForCycle(cycle, kCycleTimeoutMs)) host.waitForSource("mixer", kCycleTimeoutMs);
  host.endCycle();
}

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
  ProbeHost host(L"--cycles 2 --frames 0 --seconds 30");
  ASSERT_TRUE(host.waitForSource("mixer", kCycleTimeoutMs)) << host.output();
  const DWORD killedAt = timeGetTime();
  mixer.kill();
  const std::optional<DWORD> fellBackAt = host.waitForSource("placeholder", 5000);
  ASSERT_TRUE(fellBackAt) << host.output();

  ChildProcess next = startFrameWriter(L"zarnmixer-sim.exe", L"--fps 30 --seconds 60");
  ASSERT_TRUE(next.running()) << next.output();
  const bool recovered = host.waitForSource("mixer", 5000).has_value();
  endCycleWithTheMixersFramesInTheNext(host);
  const ProbeReport report = host.finish("mixer killed", 60000);
  std::printf("[mixer killed] placeholder %ld ms after the kill\n", long(*fellBackAt - killedAt));

  EXPECT_LT(*fellBackAt - killedAt, 1000u);
  EXPECT_TRUE(recovered) << host.output();
  EXPECT_TRUE(ranClean(report, 2)) << host.output();
  EXPECT_GT(report.lastCycleMixerFrames, 0);
}

TEST_F(MixerFaultsTest, HostileWriterCrashesNoHost) {
  const int seconds = scaleFromEnvironment("ZARN_HOSTILE_SECONDS", 15);
  const int seed = scaleFromEnvironment("ZARN_HOSTILE_SEED", 1);
  const int cycles = std::max(2, seconds / 3);
  const HANDLE stormOver = CreateEventW(nullptr, TRUE, FALSE, L"ZARN_SOAK_STORM_OVER");
  ChildProcess writer = startFrameWriter(
      L"zarnmixer-hostile.exe", L"--seed " + std::to_wstring(seed) + L" --rate 60 --seconds " +
                                    std::to_wstring(cycles * 3 + 120) + L" --until ZARN_SOAK_STORM_OVER");
  ASSERT_TRUE(writer.running()) << writer.output();

  // The host gets a new filter every 3 s of the writer's records; a last one after the storm.
  ProbeHost host(L"--cycles " + std::to_wstring(cycles + 1) + L" --frames 0 --seconds 30");
  for (int cycle = 1;; ++cycle) {
    host.waitForLine("frames from the ", kCycleTimeoutMs);
    writer.wait(3000);
    if (cycle == cycles) break;
    host.endCycle();
    if (!host.waitForCycle(cycle, kCycleTimeoutMs)) break;
  }
  SetEvent(stormOver);
  writer.wait(10000);
  CloseHandle(stormOver);
  std::printf("[hostile writer] %s", writer.output().c_str());
  host.endCycle();
  // The stopped host lets go of the region the writer left (a mixer would trust its offsets), so
  // the mixer that comes next makes a new one, and the host's next cycle must show its picture.
  EXPECT_TRUE(host.waitForCycle(cycles, kCycleTimeoutMs) &&
              waitUntil(10000, [] { return !frameRegionExists(); }));
  ChildProcess mixer = startFrameWriter(L"zarnmixer-sim.exe", L"--fps 30 --seconds 120");
  ASSERT_TRUE(mixer.running()) << mixer.output();
  host.waitForSource("mixer", kCycleTimeoutMs);
  host.endCycle();
  const ProbeReport report = host.finish("hostile writer", kCycleTimeoutMs);

  EXPECT_TRUE(ranClean(report, cycles + 1)) << host.output();
  EXPECT_GT(report.lastCycleMixerFrames, 0) << host.output();
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
  ProbeHost host(L"--cycles 2 --frames 0 --seconds 30");
  ASSERT_TRUE(host.waitForSource("mixer", kCycleTimeoutMs)) << host.output();

  HANDLE locked = CreateEventW(nullptr, TRUE, FALSE, kLockedEvent);
  ChildProcess reader = ChildProcess::startRole("reader_holding_the_lock");
  ASSERT_EQ(WaitForSingleObject(locked, 20000), WAIT_OBJECT_0);
  CloseHandle(locked);
  reader.kill();
  endCycleWithTheMixersFramesInTheNext(host);
  const ProbeReport report = host.finish("reader killed", 60000);

  EXPECT_TRUE(ranClean(report, 2)) << host.output();
  EXPECT_GT(report.lastCycleMixerFrames, 0);
}

}  // namespace
}  // namespace zarn::test
