#include <gtest/gtest.h>

#include <functional>
#include <optional>

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
  // A size no other allocation of the test asks for.
  const ULONG oddSize = 4321;
  CountedUnknown unk;
  CMediaType source(&MEDIATYPE_Video);
  source.AllocFormatBuffer(oddSize);
  source.pUnk = &unk;
  for (bool failed : {false, true}) {
    SCOPED_TRACE(failed ? "failing" : "succeeding");
    std::optional<FailingAllocation> failing;
    if (failed) {
      failing.emplace(oddSize);
    }
    {
      HRESULT hr = S_OK;
      CMediaType copy(source, &hr);
      EXPECT_EQ(failed ? E_OUTOFMEMORY : S_OK, hr);
      EXPECT_EQ(failed ? 1u : 2u, unk.refs);
      EXPECT_EQ(failed ? nullptr : &unk, copy.pUnk);
      EXPECT_NE(source.Format(), copy.Format());
    }
    AM_MEDIA_TYPE* created = CreateMediaType(&source);
    EXPECT_EQ(failed, created == nullptr);
    DeleteMediaType(created);
    EXPECT_EQ(1u, unk.refs);
  }
  source.pUnk = nullptr;
}

}  // namespace
