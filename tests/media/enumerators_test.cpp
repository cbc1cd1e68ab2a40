#include "tests/media/test_filters.h"

namespace {

using zarn::test::TestStream;
using EnumeratorsTest = zarn::test::SourceSinkTest;

TEST_F(EnumeratorsTest, PinEnumeratorReturnsAnAddedPinButRefusesSkipAndCloneUntilReset) {
  IEnumPins* pins = nullptr;
  ASSERT_EQ(S_OK, m_source->EnumPins(&pins));
  IPin* got[2] = {};
  ULONG fetched = 0;
  ASSERT_EQ(S_OK, pins->Next(1, got, &fetched));
  EXPECT_EQ(static_cast<IPin*>(m_stream), got[0]);
  got[0]->Release();

  TestStream* added = m_source->addStream();
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pins->Skip(1));
  IEnumPins* clone = reinterpret_cast<IEnumPins*>(1);
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pins->Clone(&clone));
  EXPECT_EQ(nullptr, clone);
  EXPECT_EQ(S_FALSE, pins->Next(2, got, &fetched));
  ASSERT_EQ(1u, fetched);
  EXPECT_EQ(static_cast<IPin*>(added), got[0]);
  got[0]->Release();

  EXPECT_EQ(S_OK, pins->Reset());
  EXPECT_EQ(S_FALSE, pins->Skip(3));
  ASSERT_EQ(S_OK, pins->Clone(&clone));
  clone->Release();
  pins->Release();
}

TEST_F(EnumeratorsTest, PinGoneWithoutAVersionChangeGivesOutOfSyncAndNoReferences) {
  TestStream* second = m_source->addStream();
  IEnumPins* pins = nullptr;
  ASSERT_EQ(S_OK, m_source->EnumPins(&pins));
  delete second;
  IPin* got[2] = {};
  ULONG fetched = 9;
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pins->Next(2, got, &fetched));
  EXPECT_EQ(0u, fetched);
  EXPECT_EQ(nullptr, got[0]);
  pins->Release();
}

TEST_F(EnumeratorsTest, MediaTypeEnumeratorIsOutOfSyncUntilReset) {
  IEnumMediaTypes* types = nullptr;
  ASSERT_EQ(S_OK, m_stream->EnumMediaTypes(&types));
  m_stream->IncrementTypeVersion();

  AM_MEDIA_TYPE* got[2] = {};
  ULONG fetched = 7;
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, types->Next(1, got, &fetched));
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, types->Skip(1));
  IEnumMediaTypes* clone = reinterpret_cast<IEnumMediaTypes*>(1);
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, types->Clone(&clone));
  EXPECT_EQ(nullptr, clone);

  ASSERT_EQ(S_OK, types->Reset());
  ASSERT_EQ(S_FALSE, types->Next(2, got, &fetched));
  ASSERT_EQ(1u, fetched);
  EXPECT_TRUE(m_stream->type == *static_cast<CMediaType*>(got[0]));
  DeleteMediaType(got[0]);
  types->Release();
}

}  // namespace
