#include "filter/capture_format_catalogue.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <string>

#include "delivery/format_tags.h"
#include "diag/log_line_queue.h"
#include "filter/media_subtypes.h"
#include "filter/vcam.h"
#include "filter/vcam_stream.h"
#include "media/media_type.h"
#include "tests/filter/held_filter.h"
#include "tests/support/child_process.h"

namespace {

const BITMAPINFOHEADER& headerOf(const CMediaType& type) {
  return reinterpret_cast<const VIDEOINFOHEADER*>(type.Format())->bmiHeader;
}

}  // namespace

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
  wchar_t self[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.name)) + " pins " + std::to_string(c.pins));
    std::wstring copy = folder + c.name;
    ASSERT_TRUE(CopyFileW(self, copy.c_str(), FALSE));
    auto child = zarn::test::ChildProcess::start(
        copy, L"--child count_rows_after_pins " + std::to_wstring(c.pins));
    EXPECT_EQ(child.wait(20000), c.rows);
    DeleteFileW(copy.c_str());
  }
}

TEST(CaptureFormatCatalogue, RowOrderAndImageSizes) {
  ASSERT_EQ(s_videoCaptureInfo.size(), 264u);
  struct Case {
    size_t row;
    int32_t width, height;
    int64_t period;
    int32_t bitCount;
    uint32_t fourcc;
    int32_t imageSize;
  };
  const Case cases[] = {
      {0, 1080, 1920, 400000, 24, 0, 6220800},
      {1, 1920, 1080, 400000, 24, 0, 6220800},
      {22, 1080, 1920, 666666, 24, 0, 6220800},
      {88, 1080, 1920, 400000, 32, 0, 8294400},
      {176, 1080, 1920, 400000, 12, kTagI420, 3110400},
      {263, 324, 360, 166666, 12, kTagI420, 174960},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.row);
    const VideoCaptureInfo& row = s_videoCaptureInfo[c.row];
    EXPECT_EQ(row.width, c.width);
    EXPECT_EQ(row.height, c.height);
    EXPECT_EQ(row.avgTimePerFrame, c.period);
    EXPECT_EQ(row.bitCount, c.bitCount);
    EXPECT_EQ(row.fourcc, c.fourcc);
    EXPECT_EQ(imageSizeOfRow(row), c.imageSize);
  }
  EXPECT_EQ(gfillCaptureInfo(nullptr, 1), -1);
}

TEST(MediaTypeNegotiation, PositionZeroIsTheCurrentTypeWhichIsRowOne) {
  HeldFilter held;
  CMediaType current, row1;
  ASSERT_EQ(held.pin()->GetMediaType(0, &current), S_OK);
  ASSERT_EQ(held.pin()->GetMediaType(1, &row1), S_OK);
  EXPECT_TRUE(current == row1);
  EXPECT_EQ(current.subtype, MEDIASUBTYPE_RGB24);
  EXPECT_EQ(headerOf(current).biWidth, 1920);
  EXPECT_EQ(headerOf(current).biHeight, 1080);
  EXPECT_EQ(current.GetSampleSize(), 6220800u);
  // The pin's own delivered size stays at its initial value until a format is set.
  int width = 0, height = 0;
  held.pin()->GetOutputWidthHeight(&width, &height);
  EXPECT_EQ(width, 1280);
}

TEST(MediaTypeNegotiation, CatalogueRowsCarryTheirSubtypeAndTheEndIsMarked) {
  HeldFilter held;
  CMediaType planar;
  ASSERT_EQ(held.pin()->GetMediaType(176, &planar), S_OK);
  EXPECT_EQ(planar.subtype, MEDIASUBTYPE_I420);
  EXPECT_EQ(headerOf(planar).biSizeImage, 3110400u);
  CMediaType rgb32;
  ASSERT_EQ(held.pin()->GetMediaType(88, &rgb32), S_OK);
  EXPECT_EQ(rgb32.subtype, MEDIASUBTYPE_RGB32);
  CMediaType none;
  EXPECT_EQ(held.pin()->GetMediaType(264, &none), VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(held.pin()->GetMediaType(-1, &none), E_INVALIDARG);
  EXPECT_EQ(held.pin()->GetMediaType(1, nullptr), E_POINTER);
}

TEST(MediaTypeNegotiation, OnlyTheCurrentTypeIsAccepted) {
  HeldFilter held;
  CMediaType current, other, topDown;
  held.pin()->GetMediaType(0, &current);
  held.pin()->GetMediaType(2, &other);
  held.pin()->GetMediaType(0, &topDown);
  reinterpret_cast<VIDEOINFOHEADER*>(topDown.Format())->bmiHeader.biHeight = -1080;
  EXPECT_EQ(held.pin()->CheckMediaType(&current), S_OK);
  EXPECT_EQ(held.pin()->CheckMediaType(&other), E_INVALIDARG);
  EXPECT_EQ(held.pin()->CheckMediaType(&topDown), E_INVALIDARG);
  EXPECT_EQ(held.pin()->CheckMediaType(nullptr), E_POINTER);
}
