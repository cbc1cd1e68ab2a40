#include "diag/log_limiter.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <shlobj.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <thread>
#include <utility>

#include "diag/ansi_text.h"
#include "diag/log.h"
#include "diag/log_line_queue.h"
#include "diag/log_state.h"
#include "diag/log_stream.h"
#include "tests/support/child_process.h"
#include "tests/support/log_files.h"

using zarn::test::ChildProcess;

namespace {

constexpr DWORD kBoundMs = 30000;

std::string testFolder(const std::string& parentPid) {
  return (std::filesystem::temp_directory_path() / ("zarn_diag_" + parentPid)).string() + "\\";
}

HANDLE namedEvent(const std::string& name) { return CreateEventA(nullptr, TRUE, FALSE, name.c_str()); }

bool waitFor(const std::string& name) {
  HANDLE event = namedEvent(name);
  const bool set = WaitForSingleObject(event, kBoundMs) == WAIT_OBJECT_0;
  CloseHandle(event);
  return set;
}

void makeFile(const std::string& path, int64_t size) {
  std::ofstream(path, std::ios::binary).close();
  std::filesystem::resize_file(path, size);
}

// args: parent pid, name, then for the rotating writer the names it waits for; exits with the count.
ZARN_CHILD_ROLE(numbered_writer) {
  const std::string folder = testFolder(args.at(0)), prefix = "zarn_log_" + args.at(0);
  g_logPath = folder + "zarncamvcam.log";
  g_logOldPath = folder + "zarncamvcam.old.log";
  g_logStream.open(fromAnsi(g_logPath));
  if (!waitFor(prefix + "_go")) return 0;
  HANDLE rotated = namedEvent(prefix + "_rotated"), writing = namedEvent(prefix + "_" + args.at(1));
  int written = 0, afterRotation = 0;
  for (; written < 20000 && afterRotation < 200; ++written) {
    g_logStream << args[1] << " " << written << std::endl;
    SetEvent(writing);
    if (args.size() > 2 && written == 200) {
      for (size_t other = 2; other < args.size(); ++other)
        if (!waitFor(prefix + "_" + args[other])) return 0;
      LogLimiterTimerProc();
      SetEvent(rotated);
    }
    if (WaitForSingleObject(rotated, 0) == WAIT_OBJECT_0) ++afterRotation;
  }
  return written;
}

// Holds the append lock as a host suspended in the middle of a write would, until killed.
ZARN_CHILD_ROLE(stuck_holder) {
  LogAppendLock lock(fromAnsi(testFolder(args.at(0)) + "blocked.log"));
  lock.acquire(INFINITE);
  SetEvent(namedEvent("zarn_log_" + args.at(0) + "_held"));
  Sleep(kBoundMs);
  return 3;
}

ZARN_CHILD_ROLE(blocked_writer) {
  const std::string prefix = "zarn_log_" + args.at(0);
  g_logStream.open(fromAnsi(testFolder(args[0]) + "blocked.log"));
  if (!waitFor(prefix + "_held")) return 2;
  for (int i = 0; i < 3; ++i) g_logStream << "while held " << i << std::endl;
  SetEvent(namedEvent(prefix + "_written"));
  if (!waitFor(prefix + "_released")) return 3;
  g_logStream << "after" << std::endl;
  return 0;
}

ZARN_CHILD_ROLE(marked) {
  LogLineQueue::create();
  std::wstring marker = fromAnsi(userLogFolder()) + L"debug";
  SHCreateDirectoryExW(nullptr, fromAnsi(userLogFolder()).c_str(), nullptr);
  CloseHandle(CreateFileW(marker.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  LogPrint(0, "before open");
  LogPrint(1, "opens");
  // Other processes that open the log meanwhile would keep level 0 lines too.
  DeleteFileW(marker.c_str());
  LogPrint(0, "after open");
  return 0;
}

// A log folder of the test's own, so that the other test programs' log is never rotated.
class LogRotationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CreateDirectoryA(m_folder.c_str(), nullptr);
    g_logStream.close();
    m_savedPath = std::exchange(g_logPath, m_folder + "zarncamvcam.log");
    m_savedOldPath = std::exchange(g_logOldPath, m_folder + "zarncamvcam.old.log");
  }
  void TearDown() override {
    removeFiles();
    for (HANDLE opened : m_events) CloseHandle(opened);
    RemoveDirectoryA(m_folder.c_str());
    g_logPath = m_savedPath;
    g_logOldPath = m_savedOldPath;
    if (!g_logPath.empty()) g_logStream.open(fromAnsi(g_logPath));
  }
  void removeFiles() {
    g_logStream.close();
    for (const char* name : {"zarncamvcam.log", "zarncamvcam.old.log", "timer.log", "blocked.log", "witness"})
      DeleteFileA((m_folder + name).c_str());
  }
  HANDLE event(const char* name) { return m_events.emplace_back(namedEvent(m_prefix + name)); }

  const std::string m_pid = std::to_string(GetCurrentProcessId());
  const std::string m_folder = testFolder(m_pid);
  const std::string m_prefix = "zarn_log_" + m_pid;
  std::string m_savedPath, m_savedOldPath;
  std::vector<HANDLE> m_events;
};

}  // namespace

TEST(LogPrint, DebugMarkerLowersTheThresholdOnlyOnceTheLogIsOpen) {
  const std::string path = cameraLog();
  // Other test programs log into the same file meanwhile.
  const uint64_t from = fileSizeOf(path);
  ChildProcess child = ChildProcess::startRole("marked");
  std::optional<DWORD> exitCode = child.wait(20000);
  DeleteFileW((fromAnsi(userLogFolder()) + L"debug").c_str());
  ASSERT_EQ(exitCode, 0u);
  // What follows the pid on the lines that LogPrint queued, as against the stream's own lines.
  const std::regex queued(kLogStampPattern + (R"( TID=\d+ PID=)" + std::to_string(child.pid())) + " (.*)");
  std::vector<std::string> messages;
  for (const std::string& line : readLines(path, from)) {
    std::smatch match;
    if (std::regex_match(line, match, queued)) messages.push_back(match[1]);
  }
  EXPECT_EQ(messages, (std::vector<std::string>{"info  - opens", "debug - after open"}));
}

TEST_F(LogRotationTest, TimerMovesTheLogAsideOnlyAboveTwentyMebibytesAndEmptiesItIfItCannot) {
  enum Held { kNone, kLog, kOldLog };
  enum Outcome { kUntouched, kRotated, kEmptied };
  struct { const char* name; std::optional<int64_t> logSize; bool oldLogPresent; Held held; Outcome outcome; }
  cases[] = {{"at the limit", 20971520, false, kNone, kUntouched},
             {"one byte above", 20971521, false, kNone, kRotated},
             {"above, old log replaced", 20971521, true, kNone, kRotated},
             {"log vanished", std::nullopt, false, kNone, kUntouched},
             // Another host's open handle forbids the rename, so the log is copied and emptied.
             {"log held by another host", 20971521, false, kLog, kRotated},
             {"old log held by another host", 20971521, true, kOldLog, kEmptied}};
  const std::string direct = " PID=" + std::to_string(GetCurrentProcessId()) + " info  - ";
  const std::string witness = m_folder + "witness";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    removeFiles();
    if (c.logSize) makeFile(g_logPath, *c.logSize);
    // A second name for the log: after a move it names the old log, after a copy the emptied one.
    CreateHardLinkA(witness.c_str(), g_logPath.c_str(), nullptr);
    if (c.oldLogPresent) makeFile(g_logOldPath, 10);
    // The timer's own line goes to a file apart, so the log keeps the size it was given.
    g_logStream.open(fromAnsi(m_folder + "timer.log"));
    // Share modes hold per handle, so a second stream of this process stands for another host.
    LogStream otherHost;
    if (c.held != kNone) otherHost.open(fromAnsi(c.held == kLog ? g_logPath : g_logOldPath));

    LogLimiterTimerProc();

    EXPECT_EQ(readLines(m_folder + "timer.log").size(), 1u);
    std::vector<std::string> logLines = readLines(g_logPath);
    std::string onlyLine = logLines.size() == 1 ? logLines[0] : "";
    switch (c.outcome) {
      case kUntouched:
        EXPECT_EQ(fileSizeOf(g_logPath), static_cast<uint64_t>(c.logSize.value_or(0)));
        EXPECT_EQ(fileSizeOf(g_logOldPath), 0u);
        break;
      case kRotated:
        EXPECT_EQ(fileSizeOf(g_logOldPath), static_cast<uint64_t>(*c.logSize));
        // A move where nothing holds the log: copying 20 MiB would stall every host's next line.
        if (c.held == kNone) {
          EXPECT_EQ(fileSizeOf(witness), static_cast<uint64_t>(*c.logSize));
        }
        EXPECT_TRUE(std::regex_match(
            onlyLine, std::regex(kLogStampPattern + 1 + direct + "log rotated: " + (kLogStampPattern + 1))));
        break;
      case kEmptied:
        EXPECT_EQ(fileSizeOf(g_logOldPath), c.oldLogPresent ? 10u : 0u);
        EXPECT_EQ(onlyLine.substr(std::min<size_t>(24, onlyLine.size())),
                  direct + "Failed to backup the old log file:" + g_logPath);
        break;
    }
  }
}

TEST_F(LogRotationTest, FourWritersLoseNoLineWhenOneOfThemRotatesTheLogTheyHoldOpen) {
  // Just above the limit, so that the first look rotates.
  const std::string filler(20971520, 'x');
  std::ofstream(m_folder + "zarncamvcam.log", std::ios::binary) << filler << "\r\n";
  HANDLE go = event("_go"), rotated = event("_rotated");
  const char* names[] = {"A", "B", "C", "R"};
  std::vector<ChildProcess> writers;
  for (const char* name : {"A", "B", "C"})
    writers.push_back(ChildProcess::startRole("numbered_writer", {m_pid, name}));
  writers.push_back(ChildProcess::startRole("numbered_writer", {m_pid, "R", "A", "B", "C"}));
  SetEvent(go);
  std::vector<DWORD> written;
  for (ChildProcess& writer : writers) {
    written.push_back(writer.wait(kBoundMs * 2).value_or(0));
    EXPECT_GT(written.back(), 200u) << "a writer wrote nothing after the rotation or hung";
  }
  EXPECT_EQ(WaitForSingleObject(rotated, 0), WAIT_OBJECT_0);

  std::map<std::string, std::set<int>> found;
  const std::regex numbered("([ABCR]) (\\d+)");
  for (const char* name : {"zarncamvcam.old.log", "zarncamvcam.log"}) {
    for (const std::string& line : readLines(m_folder + name)) {
      std::smatch match;
      if (std::regex_match(line, match, numbered)) {
        EXPECT_TRUE(found[match[1]].insert(std::stoi(match[2])).second) << "twice: " << line;
      } else {
        EXPECT_TRUE(line == filler || line.find("Timer!!!!") != std::string::npos ||
                    line.find("log rotated: ") != std::string::npos) << "damaged: " << line;
      }
    }
  }
  for (size_t i = 0; i < writers.size(); ++i) EXPECT_EQ(found[names[i]].size(), written[i]) << names[i];
}

TEST_F(LogRotationTest, HostStuckHoldingTheAppendLockCostsOthersOneBoundedWaitAndItsLinesAreCounted) {
  HANDLE written = event("_written"), released = event("_released");
  ChildProcess holder = ChildProcess::startRole("stuck_holder", {m_pid});
  ChildProcess writer = ChildProcess::startRole("blocked_writer", {m_pid});
  EXPECT_EQ(WaitForSingleObject(written, kBoundMs), WAIT_OBJECT_0);
  holder.kill();
  SetEvent(released);
  EXPECT_EQ(writer.wait(kBoundMs), std::optional<DWORD>(0));

  const std::vector<std::string> lines = readLines(m_folder + "blocked.log");
  ASSERT_EQ(lines.size(), 2u);
  // Windows line ends, which readLines strips.
  EXPECT_EQ(zarn::test::readFileBytes(fromAnsi(m_folder + "blocked.log")).substr(lines[0].size()), "\r\nafter\r\n");
  EXPECT_TRUE(std::regex_match(lines[0], std::regex(kLogStampPattern + (" PID=" + std::to_string(writer.pid())) +
                                                        " info  - log lines dropped while another process held the log: 3")));
}

TEST_F(LogRotationTest, HostThatWaitedWhileAnotherRotatedKeepsTheOthersGeneration) {
  makeFile(g_logPath, 20971521);
  g_logStream.open(fromAnsi(g_logPath));
  LogAppendLock otherHost(fromAnsi(g_logPath));
  ASSERT_TRUE(otherHost.acquire(0));
  std::thread timer(LogLimiterTimerProc);
  // The stream lets go of the log only in its rotation, past the sizes it took unlocked.
  EXPECT_TRUE(zarn::test::waitUntil(kBoundMs, [&] {
    HANDLE file = CreateFileA(g_logPath.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    return file != INVALID_HANDLE_VALUE;
  }));
  EXPECT_TRUE(MoveFileA(g_logPath.c_str(), g_logOldPath.c_str()));
  makeFile(g_logPath, 10);
  otherHost.release();
  timer.join();
  EXPECT_EQ(fileSizeOf(g_logOldPath), 20971521u);
  EXPECT_EQ(fileSizeOf(g_logPath), 10u);
}

// A stop that gives up waiting for a busy thread: the thread still ends after its work, instead
// of waiting on whatever object took the value of the stop event's closed handle.
TEST(LogLimiterThread, StopThatTimesOutStillEndsTheThreadOnceItsWorkIsDone) {
  static HANDLE working = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  static HANDLE finish = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  stopLogLimiter();
  restartLogLimiter(1, [] {
    SetEvent(working);
    WaitForSingleObject(finish, kBoundMs);
  });
  ASSERT_EQ(WaitForSingleObject(working, kBoundMs), WAIT_OBJECT_0);
  stopLogLimiter(0);
  // New objects take the lowest free handle values, the closed ones among them.
  std::vector<HANDLE> newcomers;
  for (int i = 0; i < 64; ++i) newcomers.push_back(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  SetEvent(finish);
  EXPECT_EQ(WaitForSingleObject(working, 1000), DWORD(WAIT_TIMEOUT));
  for (HANDLE newcomer : newcomers) CloseHandle(newcomer);
}
