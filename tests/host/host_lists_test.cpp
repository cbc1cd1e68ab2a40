#include "host/host_lists.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>

#include "host/paths.h"
#include "tests/support/child_process.h"

namespace {

using Rows = std::vector<std::string>;

std::wstring writeTempFile(const std::string& bytes) {
  wchar_t folder[MAX_PATH] = {};
  wchar_t path[MAX_PATH] = {};
  GetTempPathW(MAX_PATH, folder);
  GetTempFileNameW(folder, L"zl", 0, path);
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

}  // namespace

TEST(HostLists, FileReplacesTheDefaultsWholeAndAMissingOrEmptyFileKeepsThem) {
  const std::string defaults = "obs.exe,obs64.exe";
  EXPECT_EQ(readHostList(L"C:\\no\\such\\list", defaults), (Rows{"obs.exe", "obs64.exe"}));
  EXPECT_EQ(readHostList(writeTempFile(""), defaults), (Rows{"obs.exe", "obs64.exe"}));
  EXPECT_EQ(readHostList(writeTempFile("\xEF\xBB\xBF"), defaults), (Rows{"obs.exe", "obs64.exe"}));
  EXPECT_EQ(readHostList(writeTempFile("\xEF\xBB\xBF" "foo.exe"), defaults), (Rows{"foo.exe"}));
}

ZARN_CHILD_ROLE(report_host_lists) {
  return (isHostInObsProcessList() ? 1 : 0) | (isHostInFlipList() ? 2 : 0) |
         (isHostInLimitedRgbList() ? 4 : 0);
}

// This test program, copied under another name, tells which default lists it is on.
TEST(HostLists, DefaultListsMatchTheHostByPathOrByExactFileName) {
  struct Case {
    const wchar_t* name;
    DWORD lists;
  };
  const Case cases[] = {
      {L"obs64.exe", 1 | 4},
      {L"OBS64.exe", 1 | 4},
      {L"xobs.exe", 1},
      {L"Pevrin2.exe", 2},
      {L"host.exe", 0},
  };
  std::wstring folder = zarn::test::executableFolder() + L"host_list_copies\\";
  CreateDirectoryW(folder.c_str(), nullptr);
  wchar_t self[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.name)));
    std::wstring copy = folder + c.name;
    ASSERT_TRUE(CopyFileW(self, copy.c_str(), FALSE));
    auto child = zarn::test::ChildProcess::start(copy, L"--child report_host_lists");
    EXPECT_EQ(child.wait(20000), c.lists);
    child.wait(5000);
    DeleteFileW(copy.c_str());
  }
}

TEST(Paths, JoinPutsExactlyOneBackslashAtTheSeam) {
  EXPECT_EQ(joinPath(L"C:\\a\\\\", L"\\zarncam pro.exe"), L"C:\\a\\zarncam pro.exe");
  EXPECT_EQ(joinPath(L"C:\\a", L"b"), L"C:\\a\\b");
}
