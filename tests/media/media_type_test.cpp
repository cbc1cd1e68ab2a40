#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>
#include <string>

#include "tests/media/media_test_support.h"

namespace {

using namespace zarn::test;

TEST(MediaTypeTest, EqualityLooksAtTypesAndFormatBytesOnly) {
  struct Case {
    const char* name;
    std::function<void(CMediaType&)> change;
    bool equal;
  };
  const Case cases[] = {
      {"sample size", [](CMediaType& mt) { mt.SetSampleSize(7); }, true},
      {"temporal compression", [](CMediaType& mt) { mt.SetTemporalCompression(TRUE); }, true},
      {"subtype", [](CMediaType& mt) { mt.SetSubtype(&MEDIASUBTYPE_RGB24); }, false},
      {"format type", [](CMediaType& mt) { mt.SetFormatType(&FORMAT_VideoInfo2); }, false},
      {"format byte", [](CMediaType& mt) { mt.Format()[20] ^= 1; }, false},
      {"format length", [](CMediaType& mt) { mt.AllocFormatBuffer(mt.FormatLength() - 4); }, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CMediaType a = videoType(16, 8);
    CMediaType b = videoType(16, 8);
    c.change(b);
    EXPECT_EQ(c.equal, a == b);
    EXPECT_EQ(!c.equal, a != b);
  }
}

TEST(MediaTypeTest, SetOntoItselfKeepsTheFormatBlock) {
  CMediaType mt = videoType(16, 8);
  BYTE* block = mt.Format();
  EXPECT_EQ(S_OK, mt.Set(mt));
  EXPECT_EQ(block, mt.Format());
  EXPECT_EQ(16, reinterpret_cast<VIDEOINFOHEADER*>(mt.Format())->bmiHeader.biWidth);
}

TEST(MediaTypeTest, EachCopyHoldsItsOwnReferenceAndAFailedCopyHoldsNothing) {
  const ULONG oddSize = 4321;
  CountedUnknown unk;
  CMediaType source(&MEDIATYPE_Video);
  source.SetFormatType(&FORMAT_VideoInfo);
  std::memset(source.AllocFormatBuffer(oddSize), 7, oddSize);
  source.pUnk = &unk;
  for (bool failed : {false, true}) {
    SCOPED_TRACE(failed ? "failing" : "succeeding");
    std::optional<FailingAllocation> failing;
    if (failed) {
      failing.emplace(oddSize);
    }
    const HRESULT expected = failed ? E_OUTOFMEMORY : S_OK;
    auto check = [&](const AM_MEDIA_TYPE& copy) {
      EXPECT_EQ(failed ? 1u : 2u, unk.refs);
      EXPECT_EQ(failed ? nullptr : &unk, copy.pUnk);
      EXPECT_EQ(failed ? 0u : oddSize, copy.cbFormat);
      EXPECT_NE(source.Format(), copy.pbFormat);
    };
    {
      HRESULT hr = S_OK;
      CMediaType copy(source, &hr);
      EXPECT_EQ(expected, hr);
      check(copy);
    }
    {
      CMediaType copy = videoType(2, 2);
      EXPECT_EQ(expected, copy.Set(source));
      check(copy);
    }
    AM_MEDIA_TYPE* copy = CreateMediaType(&source);
    EXPECT_EQ(failed, copy == nullptr);
    if (copy) {
      check(*copy);
      DeleteMediaType(copy);
    }
    EXPECT_EQ(1u, unk.refs);
  }
  DeleteMediaType(nullptr);
  source.pUnk = nullptr;
}

TEST(MediaTypeTest, BitmapSubtypes) {
  struct Case {
    DWORD compression;
    WORD bits;
    DWORD masks[3];
    GUID expected;
  };
  const GUID yuy2 = {0x32595559, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
  const Case cases[] = {
      {MAKEFOURCC('Y', 'U', 'Y', '2'), 16, {}, yuy2},
      {BI_RGB, 8, {}, MEDIASUBTYPE_RGB8},
      {BI_RGB, 16, {}, MEDIASUBTYPE_RGB555},
      {BI_BITFIELDS, 16, {0x7C00, 0x03E0, 0x001F}, MEDIASUBTYPE_RGB555},
      {BI_BITFIELDS, 16, {0xF800, 0x07E0, 0x001F}, MEDIASUBTYPE_RGB565},
      {BI_BITFIELDS, 16, {0xF000, 0x0F00, 0x00F0}, GUID_NULL},
      {BI_RGB, 24, {}, MEDIASUBTYPE_RGB24},
      {BI_BITFIELDS, 32, {0x1, 0x2, 0x3}, MEDIASUBTYPE_RGB32},
      {BI_RGB, 12, {}, GUID_NULL},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.compression) + "/" + std::to_string(c.bits));
    struct {
      BITMAPINFOHEADER header;
      DWORD masks[3];
    } bmi = {};
    bmi.header.biSize = sizeof(BITMAPINFOHEADER);
    bmi.header.biCompression = c.compression;
    bmi.header.biBitCount = c.bits;
    std::copy(c.masks, c.masks + 3, bmi.masks);
    EXPECT_TRUE(IsEqualGUID(c.expected, GetBitmapSubtype(&bmi.header)));
  }
}

}  // namespace
