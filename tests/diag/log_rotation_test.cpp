#include "diag/log_limiter.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <optional>
#include <regex>

#include "diag/ansi_text.h"
#include "diag/log_state.h"
#include "tests/support/log_files.h"

namespace {

void makeFile(const std::string& path, int64_t size) {
  HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  LARGE_INTEGER end;
  end.QuadPart = size;
  SetFilePointerEx(file, end, nullptr, FILE_BEGIN);
  SetEndOfFile(file);
  CloseHandle(file);
}

// Points the logger at a folder of the test's own, so that the shared log is never rotated
// under the other test programs, and gives the shared log back afterwards.
class LogRotationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char temp[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, temp);
    m_folder = std::string(temp) + "zarn_diag_" + std::to_string(GetCurrentProcessId()) + "\\";
    CreateDirectoryA(m_folder.c_str(), nullptr);
    g_logStream.close();
    std::swap(g_logPath, m_savedPath);
    std::swap(g_logOldPath, m_savedOldPath);
    g_logPath = m_folder + "zarncamvcam.log";
    g_logOldPath = m_folder + "zarncamvcam.old.log";
  }
  void TearDown() override {
    removeFiles();
    RemoveDirectoryA(m_folder.c_str());
    std::swap(g_logPath, m_savedPath);
    std::swap(g_logOldPath, m_savedOldPath);
    if (!g_logPath.empty()) g_logStream.open(fromAnsi(g_logPath));
  }
  // The stream goes first: a file it holds can be neither deleted nor replaced.
  void removeFiles() {
    g_logStream.close();
    for (const std::string& path : {g_logPath, g_logOldPath, m_folder + "timer.log"})
      DeleteFileA(path.c_str());
  }

  std::string m_folder, m_savedPath, m_savedOldPath;
};

}  // namespace

TEST_F(LogRotationTest, TimerMovesTheLogAsideOnlyAboveTwentyMebibytesAndEmptiesItIfItCannot) {
  enum Held { kNone, kLog, kOldLog };
  enum Outcome { kUntouched, kRotated, kEmptied };
  struct Case {
    const char* name;
    std::optional<int64_t> logSize;
    bool oldLogPresent;
    Held held;
    Outcome outcome;
  } cases[] = {{"at the limit", 20971520, false, kNone, kUntouched},
               {"one byte above", 20971521, false, kNone, kRotated},
               {"above, old log replaced", 20971521, true, kNone, kRotated},
               {"log vanished", std::nullopt, false, kNone, kUntouched},
               // Another host's open handle forbids the rename, so the log is copied and emptied.
               {"log held by another host", 20971521, false, kLog, kRotated},
               {"old log held by another host", 20971521, true, kOldLog, kEmptied}};
  const std::string direct = " PID=" + std::to_string(GetCurrentProcessId()) + " info  - ";
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    removeFiles();
    if (c.logSize) makeFile(g_logPath, *c.logSize);
    if (c.oldLogPresent) makeFile(g_logOldPath, 10);
    // The timer's own line goes to a file apart, so the log keeps the size it was given.
    g_logStream.open(fromAnsi(m_folder + "timer.log"));
    // Share modes hold per handle, so a second stream of this process stands for another host.
    LogStream otherHost;
    if (c.held != kNone) otherHost.open(fromAnsi(c.held == kLog ? g_logPath : g_logOldPath));

    LogLimiterTimerProc();

    std::vector<std::string> timerLines = readLines(m_folder + "timer.log");
    ASSERT_EQ(timerLines.size(), 1u);
    EXPECT_EQ(timerLines[0].substr(24), direct + "Timer!!!!" + g_logPath + "  " + g_logOldPath +
                                            "Size:" + std::to_string(c.logSize.value_or(0)));
    std::vector<std::string> logLines = readLines(g_logPath);
    std::string onlyLine = logLines.size() == 1 ? logLines[0] : "";
    switch (c.outcome) {
      case kUntouched:
        EXPECT_EQ(GetFileAttributesA(g_logPath.c_str()) != INVALID_FILE_ATTRIBUTES, c.logSize.has_value());
        EXPECT_EQ(fileSizeOf(g_logPath), static_cast<uint64_t>(c.logSize.value_or(0)));
        EXPECT_EQ(fileSizeOf(g_logOldPath), 0u);
        break;
      case kRotated:
        EXPECT_EQ(fileSizeOf(g_logOldPath), static_cast<uint64_t>(*c.logSize));
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
