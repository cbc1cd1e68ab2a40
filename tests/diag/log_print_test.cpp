#include "diag/log.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <regex>

#include "diag/ansi_text.h"
#include "diag/log_line_queue.h"
#include "diag/log_state.h"
#include "tests/support/log_files.h"
#include "tests/support/child_process.h"

using zarn::test::ChildProcess;

namespace {

std::string userLogPath() { return userLogFolder() + "zarncamvcam.log"; }

// The lines of `pid` are its banner, then `messages` (regexes of what follows "PID=<pid> "),
// then the limiter's last line.
::testing::AssertionResult framedLines(const std::vector<std::string>& lines, uint32_t pid,
                                       const std::vector<std::string>& messages) {
  std::string direct = kLogStampPattern + (" PID=" + std::to_string(pid)) + " info  - ";
  std::vector<std::string> patterns = {direct + R"(\+{90})", direct + "program start",
                                       direct + R"(program name = diag_test\.exe)",
                                       direct + R"(LogLimiter start Tid:\d+)"};
  for (const std::string& message : messages) {
    patterns.push_back(kLogStampPattern + (R"( TID=\d+ PID=)" + std::to_string(pid)) + " " + message);
  }
  patterns.push_back(direct + R"(LogLimiter end Tid:\d+)");
  std::vector<std::string> own = linesOfPid(lines, pid);
  for (size_t i = 0; i < std::max(own.size(), patterns.size()); ++i) {
    if (i >= own.size() || i >= patterns.size() ||
        !std::regex_search(own[i], std::regex(patterns[i] + "$"))) {
      return ::testing::AssertionFailure() << "line " << i << ": " << (i < own.size() ? own[i] : "(none)");
    }
  }
  return ::testing::AssertionSuccess();
}

// Other test programs log into the same file meanwhile, so only lines past SetUp count.
class LogPrintTest : public ::testing::Test {
 protected:
  void SetUp() override {
    LogLineQueue::create();
    SHCreateDirectoryExW(nullptr, fromAnsi(userLogFolder()).c_str(), nullptr);
    m_from = fileSizeOf(userLogPath());
  }
  std::vector<std::string> newLines() { return readLines(userLogPath(), m_from); }

  uint64_t m_from = 0;
};

}  // namespace

ZARN_CHILD_ROLE(chatter) {
  LogLineQueue::create();
  LogPrint(0, "hidden");
  if (!g_logPath.empty()) return 2;
  HANDLE go = OpenEventA(SYNCHRONIZE, FALSE, args.at(1).c_str());
  HANDLE ready = OpenSemaphoreA(SEMAPHORE_MODIFY_STATE, FALSE, (args[1] + "_ready").c_str());
  if (!ready || !ReleaseSemaphore(ready, 1, nullptr)) return 4;
  if (!go || WaitForSingleObject(go, 10000) != WAIT_OBJECT_0) return 3;
  for (int i = 0; i < 200; ++i) {
    LogPrint(1, "chatter %s %d", args[0].c_str(), i);
    LogPrint(0, "hidden");
    Sleep(1);
  }
  return 0;
}

ZARN_CHILD_ROLE(marked) {
  LogLineQueue::create();
  std::wstring marker = fromAnsi(userLogFolder()) + L"debug";
  CloseHandle(CreateFileW(marker.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  LogPrint(0, "before open");
  LogPrint(1, "opens");
  // Other processes that open the log meanwhile would keep level 0 lines too.
  DeleteFileW(marker.c_str());
  LogPrint(0, "after open");
  return 0;
}

TEST_F(LogPrintTest, TwoProcessesInterleaveWholeLinesWithTheirOwnPidsAndDropLevelZero) {
  std::string goName = "zarn_diag_go_" + std::to_string(GetCurrentProcessId());
  HANDLE go = CreateEventA(nullptr, TRUE, FALSE, goName.c_str());
  // Both wait at the start line, so that neither is done before the other begins.
  HANDLE ready = CreateSemaphoreA(nullptr, 0, 2, (goName + "_ready").c_str());
  ChildProcess children[] = {ChildProcess::startRole("chatter", {"A", goName}),
                             ChildProcess::startRole("chatter", {"B", goName})};
  for (int c = 0; c < 2; ++c) EXPECT_EQ(WaitForSingleObject(ready, 20000), WAIT_OBJECT_0);
  CloseHandle(ready);
  SetEvent(go);
  for (ChildProcess& child : children) EXPECT_EQ(child.wait(30000), 0u);
  CloseHandle(go);

  std::vector<std::string> lines = newLines();
  std::vector<size_t> at[2];
  for (int c = 0; c < 2; ++c) {
    std::vector<std::string> messages;
    for (int i = 0; i < 200; ++i)
      messages.push_back(std::string("info  - chatter ") + "AB"[c] + " " + std::to_string(i));
    EXPECT_TRUE(framedLines(lines, children[c].pid(), messages));
    for (size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].find(std::string("- chatter ") + "AB"[c]) != std::string::npos) at[c].push_back(i);
    }
    ASSERT_FALSE(at[c].empty());
  }
  EXPECT_LT(at[0].front(), at[1].back());
  EXPECT_LT(at[1].front(), at[0].back());
}

TEST_F(LogPrintTest, DebugMarkerLowersTheThresholdOnlyOnceTheLogIsOpen) {
  ChildProcess child = ChildProcess::startRole("marked");
  std::optional<DWORD> exitCode = child.wait(20000);
  DeleteFileW((fromAnsi(userLogFolder()) + L"debug").c_str());
  ASSERT_EQ(exitCode, 0u);
  std::vector<std::string> lines = newLines();
  EXPECT_TRUE(framedLines(lines, child.pid(), {"info  - opens", "debug - after open"}));
  std::regex modeLine(kLogStampPattern + std::string(":info  - open debug log mode$"));
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                          [&](const std::string& line) { return std::regex_search(line, modeLine); }));
}
