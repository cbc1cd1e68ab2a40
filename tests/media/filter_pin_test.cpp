#include "tests/media/test_filters.h"

namespace {

using namespace zarn::test;

using SourcePinTest = SourceSinkTest;

TEST_F(SourcePinTest, InterfacesOfFilterAndPin) {
  struct Case { IUnknown* object; const IID* iid; bool answered; };
  IUnknown* filter = static_cast<IBaseFilter*>(m_source);
  IUnknown* pin = static_cast<IPin*>(m_stream);
  const Case cases[] = {
      {filter, &IID_IBaseFilter, true}, {filter, &IID_IMediaFilter, true},
      {filter, &IID_IPersist, true},    {filter, &IID_IAMovieSetup, true},
      {filter, &IID_IUnknown, true},    {filter, &IID_IPin, false},
      {pin, &IID_IPin, true},           {pin, &IID_IQualityControl, true},
      {pin, &IID_IBaseFilter, false},   {pin, &IID_IMemInputPin, false},
  };
  for (const Case& c : cases) {
    void* out = reinterpret_cast<void*>(1);
    HRESULT hr = c.object->QueryInterface(*c.iid, &out);
    EXPECT_EQ(c.answered ? S_OK : E_NOINTERFACE, hr);
    if (SUCCEEDED(hr)) {
      static_cast<IUnknown*>(out)->Release();
    } else {
      EXPECT_EQ(nullptr, out);
    }
  }
}

TEST_F(SourcePinTest, UnconnectedPinAnswers) {
  CMediaType other = videoType(2, 2);
  EXPECT_EQ(S_FALSE, m_stream->QueryAccept(&other));
  EXPECT_EQ(S_FALSE, m_stream->Disconnect());
  // The caller's record may hold garbage; it must be overwritten, not freed.
  AM_MEDIA_TYPE mt;
  memset(&mt, 0xCD, sizeof(mt));
  EXPECT_EQ(VFW_E_NOT_CONNECTED, m_stream->ConnectionMediaType(&mt));
  EXPECT_EQ(0u, mt.cbFormat);
  EXPECT_EQ(nullptr, mt.pUnk);
}

TEST_F(SourcePinTest, TypeEnumeratorHandsOutCopiesToTheEndAndStartsOverOnReset) {
  IEnumMediaTypes* types = nullptr;
  ASSERT_EQ(S_OK, m_stream->EnumMediaTypes(&types));
  for (int pass = 1; pass <= 2; pass++) {
    SCOPED_TRACE(pass);
    AM_MEDIA_TYPE* got[2] = {};
    ULONG fetched = 7;
    ASSERT_EQ(S_FALSE, types->Next(2, got, &fetched));
    ASSERT_EQ(1u, fetched);
    EXPECT_TRUE(m_stream->type == *static_cast<CMediaType*>(got[0]));
    DeleteMediaType(got[0]);
    EXPECT_EQ(S_OK, types->Reset());
  }
  types->Release();
}

}  // namespace
