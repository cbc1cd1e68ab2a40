#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "host/process_identity.h"
#include "tests/support/child_process.h"

using zarn::test::ChildProcess;

const uint32_t kNoSuchProcess = 999996;

ZARN_CHILD_ROLE(parent_skipped) {
  const uint32_t self = GetCurrentProcessId();
  return getParentProcessId(self, false, false) != 0 && getParentProcessId(self, false, true) == 0 ? 0 : 1;
}

ZARN_CHILD_ROLE(idle) {
  Sleep(20000);
  return 3;
}

// This test program under a name no other process has.
TEST(ProcessAncestry, LiveChildIsNamedAndDescendsFromThisProcessUntilEndedByItsName) {
  const std::wstring path = zarn::test::executableFolder() + L"zarn-ancestry-child.exe";
  ASSERT_TRUE(CopyFileW(zarn::test::executablePath().c_str(), path.c_str(), FALSE));
  ChildProcess child = ChildProcess::start(path, L"--child idle");
  const uint32_t pid = child.pid();
  EXPECT_TRUE(isProcessRunning(pid));
  EXPECT_EQ(getProcessNameByPid(pid), L"zarn-ancestry-child.exe");
  EXPECT_EQ(getProcessImageName(pid), L"zarn-ancestry-child.exe");
  EXPECT_EQ(getParentProcessId(pid, false, false), GetCurrentProcessId());
  // This test program does not run from the Windows folder, so it is not skipped as a system parent.
  EXPECT_EQ(getParentProcessId(pid, false, true), GetCurrentProcessId());
  const uint32_t ownRoot = getRootProcessId(GetCurrentProcessId());
  EXPECT_EQ(getRootProcessId(pid), ownRoot != 0 ? ownRoot : GetCurrentProcessId());
  EXPECT_FALSE(terminateProcessesByName(L"ZARN-ANCESTRY-CHILD.EXE"));
  EXPECT_FALSE(terminateProcessesByName(L"zarn-ancestry-child"));
  EXPECT_TRUE(child.running());
  EXPECT_TRUE(terminateProcessesByName(L"zarn-ancestry-child.exe"));
  EXPECT_EQ(child.wait(5000), std::optional<DWORD>(0));
  DeleteFileW(path.c_str());
}

// The shell runs from the Windows folder: its child knows its parent but skips it when asked.
// The ended shell has a parent only when ended processes are accepted.
TEST(ProcessAncestry, ParentFromTheWindowsFolderIsSkippedWhenAskedAndAnEndedOneOnlyWhenAccepted) {
  ChildProcess shell = ChildProcess::start(
      _wgetenv(L"ComSpec"), L"/c \"\"" + zarn::test::executablePath() + L"\" --child parent_skipped\"");
  EXPECT_EQ(shell.wait(20000), std::optional<DWORD>(0));
  // The open handle keeps the ended process's record readable.
  EXPECT_EQ(getParentProcessId(shell.pid(), false, false), 0u);
  EXPECT_EQ(getParentProcessId(shell.pid(), true, false), GetCurrentProcessId());
  EXPECT_EQ(getParentProcessId(kNoSuchProcess, true, false), 0u);
  EXPECT_EQ(getRootProcessId(kNoSuchProcess), 0u);
  EXPECT_EQ(getProcessImageName(kNoSuchProcess), L"unknown");
}
