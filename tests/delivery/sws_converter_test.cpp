#include "delivery/sws_converter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

std::vector<std::string> g_calls;
char g_frames[2];

void* fakeAllocFrame() {
  g_calls.push_back("alloc");
  return &g_frames[g_calls.size() - 1];
}

void fakeFree(void* frame) {
  g_calls.push_back(frame == &g_frames[0] ? "free first" : frame == &g_frames[1] ? "free second" : "?");
}

TEST(SwsConverter, HoldsTwoFramesAndFreesTheSecondFirst) {
  SwscaleLibraryTable table(L"Z:\\nowhere\\");
  table.avcodecAllocFrame = &fakeAllocFrame;
  table.avFree = &fakeFree;
  { SwsConverter converter(table); }
  EXPECT_EQ((std::vector<std::string>{"alloc", "alloc", "free second", "free first"}), g_calls);
}

}  // namespace
