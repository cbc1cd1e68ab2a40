#include "host/host_lists.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>

#include "tests/support/child_process.h"

using Rows = std::vector<std::string>;

TEST(HostLists, AFileReplacesTheDefaultsAndAMissingOneKeepsThem) {
  const std::wstring path = zarn::test::executableFolder() + L"host_list.txt";
  std::ofstream(path.c_str(), std::ios::binary) << "\xEF\xBB\xBF" "Foo.exe, bar.exe";
  EXPECT_EQ(readHostList(path, "obs.exe"), (Rows{"foo.exe", "bar.exe"}));
  DeleteFileW(path.c_str());
  EXPECT_EQ(readHostList(path, "obs.exe"), (Rows{"obs.exe"}));
}

ZARN_CHILD_ROLE(report_host_lists) {
  return (isHostInObsProcessList() ? 1 : 0) | (isHostInFlipList() ? 2 : 0) |
         (isHostInLimitedRgbList() ? 4 : 0);
}

// This test program, copied under another name, tells which default lists it is on.
TEST(HostLists, DefaultListsMatchTheHostByPathOrByExactFileName) {
  const struct { const wchar_t* name; DWORD lists; } cases[] = {
      {L"obs64.exe", 1 | 4},
      {L"OBS64.exe", 1 | 4},
      {L"xobs.exe", 1},
      {L"Pevrin2.exe", 2},
      {L"host.exe", 0},
  };
  std::wstring folder = zarn::test::executableFolder() + L"host_list_copies\\";
  CreateDirectoryW(folder.c_str(), nullptr);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.name)));
    std::wstring copy = folder + c.name;
    ASSERT_TRUE(CopyFileW(zarn::test::executablePath().c_str(), copy.c_str(), FALSE));
    auto child = zarn::test::ChildProcess::start(copy, L"--child report_host_lists");
    EXPECT_EQ(child.wait(20000), c.lists);
    DeleteFileW(copy.c_str());
  }
}
