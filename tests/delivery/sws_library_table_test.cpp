#include "delivery/sws_library_table.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(SwscaleLibraryTable, FolderOfPathKeepsTheLastSeparator) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"C:\\Program Files\\ZarnCam\\ZarnVirtualCam.ax", L"C:\\Program Files\\ZarnCam\\"},
      {L"C:\\cam\\", L"C:\\cam\\"},
      {L"C:cam.ax", L"C:"},
      {L"\\\\server\\share/cam.ax", L"\\\\server\\share/"},
      {L"cam.ax", L""},
  };
  for (const auto& c : cases) EXPECT_EQ(std::wstring(c.second), folderOfPath(c.first));
}

}  // namespace
