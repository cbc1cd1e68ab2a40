#include "delivery/sws_converter.h"

#include <gtest/gtest.h>

#include <string>

#include "delivery/sws_library_table.h"

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

// No FFmpeg libraries lie beside the test programs, as on most machines.
TEST(SwsConverter, WorksWithoutTheLibraries) {
  const SwscaleLibraryTable& table = SwscaleLibraryTable::instance();
  EXPECT_FALSE(table.avcodecAllocFrame || table.avpictureFill || table.avFree ||
               table.swsGetContext || table.swsScale || table.swsFreeContext);
  SwsConverter first;
  SwsConverter second;
}

}  // namespace
