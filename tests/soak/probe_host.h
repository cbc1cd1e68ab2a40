#pragma once
// zarncam-probe as a real host process in its cycle mode, its output read back while it runs,
// and its totals with the counts of a soak: cycles done, crashes, frames, handles, claim.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "tests/support/child_process.h"

namespace zarn::test {

struct ProbeReport {
  std::optional<DWORD> exitCode;  // absent when the probe was still running at the bound
  int cyclesDone = 0;
  int cyclesFailed = 0;
  int frames = 0;
  int mixerFrames = 0;
  int lastCycleMixerFrames = 0;
  unsigned long handlesAfterFirst = 0;
  unsigned long handlesAfterLast = 0;
  std::optional<uint32_t> claimAfterStop;  // absent when the probe never printed it
};

class ProbeHost {
 public:
  explicit ProbeHost(const std::wstring& arguments)
      : m_process(ChildProcess::startWithOutput(executableFolder() + L"zarncam-probe.exe", arguments)) {}

  std::string output() const { return m_process.output(); }

  // Waits for a line that starts with `start`, after the lines already taken by earlier calls;
  // the rest of the line, or nothing at the bound.
  std::optional<std::string> waitForLine(const std::string& start, DWORD timeoutMs);
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
  ProbeReport finish(const char* scenario, DWORD timeoutMs);

 private:
  ChildProcess m_process;
  size_t m_readUpTo = 0;
};

// Every cycle ran, no host crashed or hung, the handle count didn't grow, and the camera was
// given back.
::testing::AssertionResult ranClean(const ProbeReport& report, int cycles);

// A whole number from the environment, for the long runs of the scripts; `fallback` without it.
int scaleFromEnvironment(const char* name, int fallback);

}  // namespace zarn::test
