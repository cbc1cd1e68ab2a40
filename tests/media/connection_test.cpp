#include "tests/media/test_filters.h"

namespace {

using namespace zarn::test;

using ConnectionTest = SourceSinkTest;

TEST_F(ConnectionTest, ConnectsWithItsOwnTypeAndTheSinksAllocator) {
  EXPECT_EQ(VFW_E_INVALID_DIRECTION, m_stream->Connect(m_stream, &m_stream->type));
  ASSERT_EQ(S_OK, m_stream->Connect(m_in, nullptr));
  IPin* peer = nullptr;
  ASSERT_EQ(S_OK, m_stream->ConnectedTo(&peer));
  EXPECT_EQ(static_cast<IPin*>(m_in), peer);
  peer->Release();
  AM_MEDIA_TYPE mt;
  ASSERT_EQ(S_OK, m_stream->ConnectionMediaType(&mt));
  EXPECT_TRUE(m_stream->type == *static_cast<CMediaType*>(&mt));
  FreeMediaType(mt);
  EXPECT_EQ(m_in->ownAllocator, m_in->notifiedAllocator);
  EXPECT_EQ(VFW_E_ALREADY_CONNECTED, m_stream->Connect(m_in, nullptr));
}

// The last case shows the peer's types go first: the pin's own would have matched without asking.
TEST_F(ConnectionTest, AFullTypeIsTheOnlyOneTriedAndAPartialOneFiltersTheCandidates) {
  struct Case { CMediaType type; HRESULT expected; int enumerations; };
  CMediaType rgb24(&MEDIATYPE_Video), rgb32(&MEDIATYPE_Video);
  rgb24.SetSubtype(&MEDIASUBTYPE_RGB24);
  rgb32.SetSubtype(&MEDIASUBTYPE_RGB32);
  const Case cases[] = {{videoType(16, 16), VFW_E_TYPE_NOT_ACCEPTED, 0},
                        {rgb24, VFW_E_NO_ACCEPTABLE_TYPES, 1},
                        {rgb32, S_OK, 2}};
  for (const Case& c : cases) {
    EXPECT_EQ(c.expected, m_stream->Connect(m_in, &c.type));
    EXPECT_EQ(c.enumerations, m_in->enumerations.load());
  }
}

TEST_F(ConnectionTest, APeerWithoutTypesStillGetsThePinsOwn) {
  m_in->withholdEnumerator = true;
  EXPECT_EQ(S_OK, m_stream->Connect(m_in, nullptr));
  EXPECT_EQ(1, m_in->enumerations.load());
}

TEST_F(ConnectionTest, RefusedPeerAllocatorFallsBackToTheDefaultWithTheSameProperties) {
  m_stream->refuseAllocators = 1;
  ASSERT_EQ(S_OK, m_stream->Connect(m_in, nullptr));
  EXPECT_EQ(2, m_stream->allocatorsAsked.load());
  ASSERT_NE(nullptr, m_in->notifiedAllocator);
  EXPECT_NE(m_in->ownAllocator, m_in->notifiedAllocator);
  ALLOCATOR_PROPERTIES props;
  m_in->notifiedAllocator->GetProperties(&props);
  EXPECT_EQ(m_stream->decided.cbBuffer, props.cbBuffer);
  EXPECT_EQ(2, props.cBuffers);
}

TEST_F(ConnectionTest, FailuresMapToConnectionErrorsAndLeaveBothSidesUnconnected) {
  struct Case {
    const char* name;
    HRESULT refusal;
    int refusedAllocators;
    bool fullType;
    HRESULT expected;
  };
  const Case cases[] = {
      {"S_FALSE is no agreement", S_FALSE, 0, true, VFW_E_TYPE_NOT_ACCEPTED},
      {"plain refusals become no acceptable types", E_FAIL, 0, false, VFW_E_NO_ACCEPTABLE_TYPES},
      {"other failures come through", E_ACCESSDENIED, 0, false, E_ACCESSDENIED},
      {"failed completion disconnects the peer", S_OK, 2, true, E_FAIL},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_in->accepted = c.refusal == S_OK ? CMediaType(&GUID_NULL) : videoType(2, 2);
    m_in->refusal = c.refusal;
    m_stream->refuseAllocators = c.refusedAllocators;
    EXPECT_EQ(c.expected, m_stream->Connect(m_in, c.fullType ? &m_stream->type : nullptr));
    EXPECT_FALSE(m_stream->IsConnected());
    EXPECT_FALSE(m_in->IsConnected());
    IPin* peer = reinterpret_cast<IPin*>(1);
    EXPECT_EQ(VFW_E_NOT_CONNECTED, m_stream->ConnectedTo(&peer));
    EXPECT_EQ(nullptr, peer);
  }
}

}  // namespace
