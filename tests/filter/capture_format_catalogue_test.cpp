#include "filter/capture_format_catalogue.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <string>

#include "filter/media_subtypes.h"
#include "media/media_type.h"
#include "tests/filter/held_filter.h"
#include "tests/media/media_test_support.h"
#include "tests/support/child_process.h"

// Makes `pins` pins in this process and reports the catalogue's size.
ZARN_CHILD_ROLE(count_rows_after_pins) {
  for (int i = 0; i < std::stoi(args.at(0)); ++i) HeldFilter made;
  return static_cast<int>(s_videoCaptureInfo.size());
}

// This test program, copied under other names, counts the rows its host is offered.
TEST(CaptureFormatCatalogue, RowsDependOnTheHostsName) {
  struct Case {
    const wchar_t* name;
    int pins;
    DWORD rows;
  };
  const Case cases[] = {
      {L"plainhost.exe", 1, 264},        {L"obs64.exe", 1, 176},
      {L"zarnexternal.exe", 1, 288},     {L"zarnexternal.exe", 2, 312},
      {L"ZarnExternal.exe", 1, 264},
  };
  std::wstring folder = zarn::test::executableFolder() + L"catalogue_hosts\\";
  CreateDirectoryW(folder.c_str(), nullptr);
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.name)) + " pins " + std::to_string(c.pins));
    std::wstring copy = folder + c.name;
    ASSERT_TRUE(CopyFileW(zarn::test::executablePath().c_str(), copy.c_str(), FALSE));
    auto child = zarn::test::ChildProcess::start(
        copy, L"--child count_rows_after_pins " + std::to_wstring(c.pins));
    EXPECT_EQ(child.wait(20000), c.rows);
    DeleteFileW(copy.c_str());
  }
}

using MediaTypeNegotiation = HeldPin;

TEST_F(MediaTypeNegotiation, OnlyTheCurrentTypeWithinTheSizeBoundsIsAccepted) {
  CMediaType other, topDown;
  pin->GetMediaType(2, &other);
  pin->GetMediaType(0, &topDown);
  headerOf(topDown).biHeight = -1080;
  EXPECT_EQ(pin->CheckMediaType(&other), E_INVALIDARG);
  EXPECT_EQ(pin->CheckMediaType(&topDown), E_INVALIDARG);
  EXPECT_EQ(pin->CheckMediaType(nullptr), E_POINTER);
  const struct {
    LONG width, height;
    HRESULT want;
  } cases[] = {{191, 480, E_INVALIDARG}, {640, 191, E_INVALIDARG}, {192, 192, S_OK},
               {3840, 3840, S_OK},       {3841, 2160, E_INVALIDARG}, {640, 3841, E_INVALIDARG}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height);
    CMediaType type;
    pin->GetMediaType(0, &type);
    headerOf(type).biWidth = c.width;
    headerOf(type).biHeight = c.height;
    ASSERT_EQ(pin->SetFormat(&type), S_OK);
    EXPECT_EQ(pin->CheckMediaType(&type), c.want);
  }
}

TEST_F(MediaTypeNegotiation, BufferHoldsTheWholeFrameWhateverTheImageSizeSays) {
  CMediaType type;
  pin->GetMediaType(0, &type);
  auto& header = headerOf(type);
  header.biWidth = 640;
  header.biHeight = 480;
  header.biSizeImage = 1000;
  ASSERT_EQ(pin->SetFormat(&type), S_OK);
  IMemAllocator* allocator = zarn::test::newMemAllocator();
  ALLOCATOR_PROPERTIES properties = {0, 0, 1, 0};
  EXPECT_EQ(pin->DecideBufferSize(allocator, &properties), S_OK);
  EXPECT_GE(properties.cbBuffer, 640 * 480 * header.biBitCount / 8);
  allocator->Release();
}
