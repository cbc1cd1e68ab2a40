// Appends of several processes to one log, across a rotation and past a host that is stuck
// while it holds the append lock.
#include "diag/log_stream.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <map>
#include <regex>
#include <set>

#include "diag/ansi_text.h"
#include "diag/log_limiter.h"
#include "diag/log_state.h"
#include "tests/support/child_process.h"
#include "tests/support/log_files.h"

using zarn::test::ChildProcess;

namespace {

constexpr DWORD kBoundMs = 30000;

std::string testFolder(const std::string& parentPid) {
  char temp[MAX_PATH] = {};
  GetTempPathA(MAX_PATH, temp);
  return std::string(temp) + "zarn_log_stream_" + parentPid + "\\";
}

HANDLE namedEvent(const std::string& name) { return CreateEventA(nullptr, TRUE, FALSE, name.c_str()); }

bool waitFor(const std::string& name) {
  HANDLE event = namedEvent(name);
  const bool set = WaitForSingleObject(event, kBoundMs) == WAIT_OBJECT_0;
  CloseHandle(event);
  return set;
}

// args: parent pid, writer name, then the other writers' names for the one that rotates. Every
// line is "<name> <n>". The rotating writer moves the log aside once all have written, and the
// others write as much again after that. Exits with the number of lines written.
ZARN_CHILD_ROLE(numbered_writer) {
  const std::string folder = testFolder(args.at(0)), prefix = "zarn_log_" + args.at(0);
  g_logPath = folder + "zarncamvcam.log";
  g_logOldPath = folder + "zarncamvcam.old.log";
  g_logStream.open(fromAnsi(g_logPath));
  if (!waitFor(prefix + "_go")) return 0;
  HANDLE rotated = namedEvent(prefix + "_rotated");
  HANDLE writing = namedEvent(prefix + "_" + args.at(1));
  int written = 0, afterRotation = 0;
  for (; written < 20000 && afterRotation < 200; ++written) {
    g_logStream << args[1] << " " << written << std::endl;
    SetEvent(writing);
    if (args.size() > 2 && written == 200) {
      for (size_t other = 2; other < args.size(); ++other) {
        if (!waitFor(prefix + "_" + args[other])) return 0;
      }
      LogLimiterTimerProc();
      SetEvent(rotated);
    }
    if (WaitForSingleObject(rotated, 0) == WAIT_OBJECT_0) ++afterRotation;
  }
  return written;
}

// Holds the append lock as a host suspended in the middle of a write would, until killed.
ZARN_CHILD_ROLE(stuck_holder) {
  LogAppendLock lock;
  lock.acquire(INFINITE);
  SetEvent(namedEvent("zarn_log_" + args.at(0) + "_held"));
  Sleep(kBoundMs);
  return 3;
}

// Writes three lines while the lock is held, then one after the holder is gone.
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

class LogStreamTest : public ::testing::Test {
 protected:
  void SetUp() override { CreateDirectoryA(m_folder.c_str(), nullptr); }
  void TearDown() override {
    for (const char* name : {"zarncamvcam.log", "zarncamvcam.old.log", "blocked.log"})
      DeleteFileA((m_folder + name).c_str());
    RemoveDirectoryA(m_folder.c_str());
  }
  HANDLE event(const char* name) { return namedEvent(m_prefix + name); }

  const std::string m_pid = std::to_string(GetCurrentProcessId());
  const std::string m_folder = testFolder(m_pid);
  const std::string m_prefix = "zarn_log_" + m_pid;
};

}  // namespace

TEST_F(LogStreamTest, FourWritersLoseNoLineWhenOneOfThemRotatesTheLogTheyHoldOpen) {
  // Just above the limit, so that the first look rotates.
  HANDLE file = CreateFileA((m_folder + "zarncamvcam.log").c_str(), GENERIC_WRITE, 0, nullptr,
                            CREATE_ALWAYS, 0, nullptr);
  const std::string filler = std::string(20971520, 'x') + "\r\n";
  DWORD done = 0;
  WriteFile(file, filler.data(), DWORD(filler.size()), &done, nullptr);
  CloseHandle(file);
  HANDLE go = event("_go");
  HANDLE rotated = event("_rotated");
  const char* names[] = {"A", "B", "C", "R"};
  std::vector<ChildProcess> writers;
  for (const char* name : {"A", "B", "C"}) writers.push_back(ChildProcess::startRole("numbered_writer", {m_pid, name}));
  writers.push_back(ChildProcess::startRole("numbered_writer", {m_pid, "R", "A", "B", "C"}));
  SetEvent(go);
  std::map<std::string, DWORD> written;
  for (size_t i = 0; i < writers.size(); ++i) {
    std::optional<DWORD> lines = writers[i].wait(kBoundMs * 2);
    ASSERT_TRUE(lines.has_value());
    written[names[i]] = *lines;
  }
  EXPECT_EQ(WaitForSingleObject(rotated, 0), WAIT_OBJECT_0);
  CloseHandle(go);
  CloseHandle(rotated);

  std::map<std::string, std::set<int>> found;
  size_t foreign = 0;
  const std::regex numbered("([ABCR]) (\\d+)");
  for (const char* name : {"zarncamvcam.old.log", "zarncamvcam.log"}) {
    for (const std::string& line : readLines(m_folder + name)) {
      std::smatch match;
      if (std::regex_match(line, match, numbered)) {
        EXPECT_TRUE(found[match[1]].insert(std::stoi(match[2])).second) << "twice: " << line;
      } else if (line != filler.substr(0, 20971520) && line.find("Timer!!!!") == std::string::npos &&
                 line.find("log rotated: ") == std::string::npos) {
        ++foreign;
      }
    }
  }
  size_t lost = 0;
  for (const char* name : names) {
    EXPECT_GT(written[name], 200u) << name << " wrote nothing before the rotation";
    lost += written[name] - found[name].size();
  }
  std::printf("lines written %lu, lost %zu, damaged %zu\n",
              static_cast<unsigned long>(written["A"] + written["B"] + written["C"] + written["R"]), lost, foreign);
  EXPECT_EQ(lost, 0u);
  EXPECT_EQ(foreign, 0u);
}

TEST_F(LogStreamTest, HostStuckHoldingTheAppendLockCostsOthersOneBoundedWaitAndItsLinesAreCounted) {
  HANDLE written = event("_written");
  HANDLE released = event("_released");
  ChildProcess holder = ChildProcess::startRole("stuck_holder", {m_pid});
  ChildProcess writer = ChildProcess::startRole("blocked_writer", {m_pid});
  EXPECT_EQ(WaitForSingleObject(written, kBoundMs), WAIT_OBJECT_0);
  holder.kill();
  SetEvent(released);
  EXPECT_EQ(writer.wait(kBoundMs), std::optional<DWORD>(0));
  CloseHandle(written);
  CloseHandle(released);

  const std::vector<std::string> lines = readLines(m_folder + "blocked.log");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(std::regex_match(lines[0], std::regex(kLogStampPattern + (" PID=" + std::to_string(writer.pid())) +
                                                        " info  - log lines dropped while another process held the log: 3")));
  EXPECT_EQ(lines[1], "after");
}
