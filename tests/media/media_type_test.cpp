#include <gtest/gtest.h>

#include <objidl.h>

#include <atomic>
#include <functional>

#include "tests/media/media_test_support.h"

namespace {

using namespace zarn::test;

// Registered once and never revoked: the system may call it as long as blocks it saw live.
struct SizeFailingSpy : IMallocSpy {
  STDMETHODIMP QueryInterface(REFIID, void** ppv) override {
    *ppv = this;
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  // 0 fails the allocation.
  STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T cb) override { return cb == failing ? 0 : cb; }
  STDMETHODIMP_(void*) PostAlloc(void* p) override { return p; }
  STDMETHODIMP_(void*) PreFree(void* p, BOOL) override { return p; }
  STDMETHODIMP_(void) PostFree(BOOL) override {}
  STDMETHODIMP_(SIZE_T) PreRealloc(void* p, SIZE_T cb, void** out, BOOL) override {
    *out = p;
    return cb;
  }
  STDMETHODIMP_(void*) PostRealloc(void* p, BOOL) override { return p; }
  STDMETHODIMP_(void*) PreGetSize(void* p, BOOL) override { return p; }
  STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T cb, BOOL) override { return cb; }
  STDMETHODIMP_(void*) PreDidAlloc(void* p, BOOL) override { return p; }
  STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int actual) override { return actual; }
  STDMETHODIMP_(void) PreHeapMinimize() override {}
  STDMETHODIMP_(void) PostHeapMinimize() override {}
  std::atomic<SIZE_T> failing{0};
};

SizeFailingSpy& spy() {
  static SizeFailingSpy* registered = [] {
    auto* made = new SizeFailingSpy;
    CoRegisterMallocSpy(made);
    return made;
  }();
  return *registered;
}

// A format holder that only counts its references.
class CountedUnknown : public IUnknown {
 public:
  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  STDMETHODIMP_(ULONG) AddRef() override { return ++refs; }
  STDMETHODIMP_(ULONG) Release() override { return --refs; }
  ULONG refs = 1;
};

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
    spy().failing = failed ? oddSize : 0;
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
    spy().failing = 0;
    EXPECT_EQ(1u, unk.refs);
  }
  source.pUnk = nullptr;
}

}  // namespace
