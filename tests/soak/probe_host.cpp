#include "tests/soak/probe_host.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace zarn::test {
namespace {

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

}  // namespace

std::optional<std::string> ProbeHost::waitForLine(const std::string& start, DWORD timeoutMs) {
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

ProbeReport ProbeHost::finish(const char* scenario, DWORD timeoutMs) {
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
  std::sscanf(lastLineAfter(text, "frames delivered: ").c_str(), "%d (mixer %d", &report.frames,
              &report.mixerFrames);
  std::sscanf(lastLineAfter(text, "handle count: ").c_str(), "%lu after the first cycle, %lu",
              &report.handlesAfterFirst, &report.handlesAfterLast);
  const std::string claim = lastLineAfter(text, "claim after the last stop: ");
  if (!claim.empty()) report.claimAfterStop = uint32_t(std::strtoul(claim.c_str(), nullptr, 10));
  // The probe's totals on the test's output, for the long runs of the scripts.
  std::printf("[%s] %s", scenario, text.substr(std::min(text.find("cycles done: "), text.size())).c_str());
  std::fflush(stdout);
  return report;
}

::testing::AssertionResult ranClean(const ProbeReport& report, int cycles) {
  std::ostringstream faults;
  if (!report.exitCode) {
    faults << " the host hung and was stopped;";
  } else if (*report.exitCode > 5) {  // not one of the probe's own exit codes: a fault ended it
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

int scaleFromEnvironment(const char* name, int fallback) {
  const char* value = std::getenv(name);
  const int parsed = value ? std::atoi(value) : 0;
  return parsed > 0 ? parsed : fallback;
}

}  // namespace zarn::test
