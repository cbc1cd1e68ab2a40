// The formats the pin offers: the catalogue's rows, as capabilities and in negotiation.
#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <string>

#include "delivery/format_tags.h"
#include "filter/capture_format_catalogue.h"
#include "filter/media_subtypes.h"
#include "media/media_type.h"
#include "tests/filter/held_filter.h"
#include "tests/support/child_process.h"

using StreamConfig = HeldPin;

// Makes `pins` pins in this process and reports the catalogue's size.
ZARN_CHILD_ROLE(count_rows_after_pins) {
  for (int i = 0; i < std::stoi(args.at(0)); ++i) HeldFilter made;
  return static_cast<int>(s_videoCaptureInfo.size());
}

// This test program, copied under other names, counts the rows its host is offered.
TEST(CaptureFormatCatalogue, RowsDependOnTheHostsName) {
  struct Case { const wchar_t* name; int pins; DWORD rows; };
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

TEST_F(StreamConfig, EachCapabilityIsOneExactCatalogueRow) {
  int count = 0, size = 0;
  EXPECT_EQ(pin->GetNumberOfCapabilities(&count, &size), S_OK);
  EXPECT_EQ(count, 264);
  EXPECT_EQ(size, 128);

  struct Case {
    int row;
    LONG width, height;
    REFERENCE_TIME period;
    WORD bitCount;
    DWORD compression;
    GUID subtype;
    DWORD imageSize;
  };
  const Case cases[] = {
      {0, 1080, 1920, 400000, 24, BI_RGB, MEDIASUBTYPE_RGB24, 6220800},
      {88, 1080, 1920, 400000, 32, BI_RGB, MEDIASUBTYPE_RGB32, 8294400},
      {263, 324, 360, 166666, 12, kTagI420, MEDIASUBTYPE_I420, 174960},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.row);
    AM_MEDIA_TYPE* type = nullptr;
    VIDEO_STREAM_CONFIG_CAPS caps = {};
    ASSERT_EQ(pin->GetStreamCaps(c.row, &type, reinterpret_cast<BYTE*>(&caps)), S_OK);
    const BITMAPINFOHEADER& header = headerOf(*type);
    EXPECT_EQ(type->subtype, c.subtype);
    EXPECT_EQ(type->lSampleSize, c.imageSize);
    EXPECT_EQ(header.biWidth, c.width);
    EXPECT_EQ(header.biHeight, c.height);
    EXPECT_EQ(header.biBitCount, c.bitCount);
    EXPECT_EQ(header.biCompression, c.compression);
    EXPECT_EQ(reinterpret_cast<VIDEOINFOHEADER*>(type->pbFormat)->AvgTimePerFrame, c.period);
    EXPECT_EQ(caps.MinOutputSize.cx, c.width);
    EXPECT_EQ(caps.MaxOutputSize.cy, c.height);
    EXPECT_EQ(caps.MinFrameInterval, c.period);
    EXPECT_EQ(caps.MaxFrameInterval, c.period);
    // Negotiation offers the same rows; its position 0 is the current type instead.
    CMediaType offered;
    EXPECT_EQ(pin->GetMediaType(c.row, &offered), S_OK);
    EXPECT_TRUE(c.row == 0 || offered == CMediaType(*type));
    EXPECT_EQ(offered.GetSampleSize(), c.row ? c.imageSize : 6220800u);
    DeleteMediaType(type);
  }
}

TEST_F(StreamConfig, IndexOutsideTheCatalogueIsRefused) {
  AM_MEDIA_TYPE* type = nullptr;
  BYTE caps[128] = {};
  CMediaType none;
  EXPECT_EQ(pin->GetStreamCaps(-1, &type, caps), E_INVALIDARG);
  EXPECT_EQ(pin->GetStreamCaps(264, &type, caps), VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(type, nullptr);
  EXPECT_EQ(pin->GetMediaType(-1, &none), E_INVALIDARG);
  EXPECT_EQ(pin->GetMediaType(264, &none), VFW_S_NO_MORE_ITEMS);
}

// Hosts ask for the size alone, or for the category with or without its size.
TEST_F(StreamConfig, PinCategoryIsCaptureAndTheOnlyPropertyKnown) {
  const DWORD id = AMPROPERTY_PIN_CATEGORY;
  GUID category = GUID_NULL;
  DWORD returned = 0;
  EXPECT_EQ(pin->Get(AMPROPSETID_Pin, id, nullptr, 0, nullptr, 0, &returned), S_OK);
  EXPECT_EQ(returned, 16u);
  EXPECT_EQ(pin->Get(AMPROPSETID_Pin, id, nullptr, 0, &category, 15, &returned), E_UNEXPECTED);
  EXPECT_EQ(pin->Get(PIN_CATEGORY_CAPTURE, id, nullptr, 0, &category, 16, &returned),
            E_PROP_SET_UNSUPPORTED);
  EXPECT_EQ(pin->Get(AMPROPSETID_Pin, 1, nullptr, 0, &category, 16, &returned),
            E_PROP_ID_UNSUPPORTED);
  EXPECT_EQ(category, GUID_NULL);
  EXPECT_EQ(pin->Get(AMPROPSETID_Pin, id, nullptr, 0, &category, 16, nullptr), S_OK);
  EXPECT_EQ(category, PIN_CATEGORY_CAPTURE);
}
