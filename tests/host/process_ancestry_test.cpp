#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "host/process_identity.h"
#include "tests/support/child_process.h"

using zarn::test::ChildProcess;

namespace {

const uint32_t kNoSuchProcess = 999996;

// A lingering copy of the recorder under a name no other process has.
class NamedChild {
 public:
  explicit NamedChild(const std::wstring& name) {
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    m_path = std::wstring(temp) + name;
    if (!CopyFileW((zarn::test::executableFolder() + L"recorder\\zarncam pro.exe").c_str(), m_path.c_str(),
                   FALSE)) {
      return;
    }
    SetEnvironmentVariableW(L"ZARNCAM_RECORDER_LOG", (m_path + L".log").c_str());
    SetEnvironmentVariableW(L"ZARNCAM_RECORDER_LINGER_MS", L"20000");
    process = ChildProcess::start(m_path, L"");
    SetEnvironmentVariableW(L"ZARNCAM_RECORDER_LINGER_MS", nullptr);
    SetEnvironmentVariableW(L"ZARNCAM_RECORDER_LOG", nullptr);
  }
  ~NamedChild() {
    process.kill();
    process.wait(5000);
    DeleteFileW(m_path.c_str());
    DeleteFileW((m_path + L".log").c_str());
  }

  ChildProcess process;

 private:
  std::wstring m_path;
};

}  // namespace

ZARN_CHILD_ROLE(quick_exit) { return 0; }

TEST(ProcessAncestry, ParentOfAChildIsThisProcessWhileItRuns) {
  NamedChild child(L"zarn-ancestry-child.exe");
  ASSERT_TRUE(child.process.valid());
  EXPECT_EQ(getParentProcessId(child.process.pid(), false, false), GetCurrentProcessId());
  // This test program does not run from the Windows folder, so it is not skipped as a system parent.
  EXPECT_EQ(getParentProcessId(child.process.pid(), false, true), GetCurrentProcessId());
}

TEST(ProcessAncestry, EndedChildHasAParentOnlyWhenEndedProcessesAreAccepted) {
  ChildProcess child = ChildProcess::startRole("quick_exit");
  ASSERT_TRUE(child.wait(20000).has_value());
  // The open handle keeps the ended process's record readable.
  EXPECT_EQ(getParentProcessId(child.pid(), false, false), 0u);
  EXPECT_EQ(getParentProcessId(child.pid(), true, false), GetCurrentProcessId());
}

TEST(ProcessAncestry, UnknownProcessHasNoParentNoRootAndAnUnknownName) {
  EXPECT_EQ(getParentProcessId(kNoSuchProcess, true, false), 0u);
  EXPECT_EQ(getRootProcessId(kNoSuchProcess), 0u);
  EXPECT_EQ(getProcessImageName(kNoSuchProcess), L"unknown");
}

TEST(ProcessAncestry, RootOfAChildIsTheRootOfThisProcessOrThisProcess) {
  NamedChild child(L"zarn-ancestry-root.exe");
  ASSERT_TRUE(child.process.valid());
  uint32_t ownRoot = getRootProcessId(GetCurrentProcessId());
  EXPECT_EQ(getRootProcessId(child.process.pid()), ownRoot != 0 ? ownRoot : GetCurrentProcessId());
}

TEST(ProcessAncestry, ImageNameIsTheFileNameOnly) {
  NamedChild child(L"zarn-ancestry-image.exe");
  ASSERT_TRUE(child.process.valid());
  EXPECT_EQ(getProcessImageName(child.process.pid()), L"zarn-ancestry-image.exe");
}

TEST(ProcessAncestry, TerminateByNameEndsExactMatchesOnly) {
  NamedChild child(L"zarn-ancestry-victim.exe");
  ASSERT_TRUE(child.process.valid());
  EXPECT_FALSE(terminateProcessesByName(L"ZARN-ANCESTRY-VICTIM.EXE"));
  EXPECT_FALSE(terminateProcessesByName(L"zarn-ancestry-victim"));
  EXPECT_TRUE(child.process.running());
  EXPECT_TRUE(terminateProcessesByName(L"zarn-ancestry-victim.exe"));
  auto code = child.process.wait(5000);
  ASSERT_TRUE(code.has_value());
  EXPECT_EQ(*code, 0u);
}
