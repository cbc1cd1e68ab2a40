#include <gtest/gtest.h>

#include <cstddef>

#include "tests/media/media_test_support.h"

namespace {

using namespace zarn::test;

// One committed allocator of two 100-byte samples, with the first one taken.
class MediaSampleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_allocator = newMemAllocator();
    ALLOCATOR_PROPERTIES request = {2, 100, 1, 0};
    ALLOCATOR_PROPERTIES actual;
    ASSERT_EQ(S_OK, m_allocator->SetProperties(&request, &actual));
    ASSERT_EQ(S_OK, m_allocator->Commit());
    IMediaSample* sample = nullptr;
    ASSERT_EQ(S_OK, m_allocator->GetBuffer(&sample, nullptr, nullptr, 0));
    sample->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&m_sample));
    sample->Release();
  }
  void TearDown() override {
    if (m_sample) {
      m_sample->Release();
    }
    m_allocator->Decommit();
    EXPECT_EQ(0u, m_allocator->Release());
  }

  AM_SAMPLE2_PROPERTIES properties() {
    AM_SAMPLE2_PROPERTIES props = {};
    EXPECT_EQ(S_OK, m_sample->GetProperties(sizeof(props), reinterpret_cast<BYTE*>(&props)));
    return props;
  }

  IMemAllocator* m_allocator = nullptr;
  IMediaSample2* m_sample = nullptr;
};

TEST_F(MediaSampleTest, TimeRules) {
  REFERENCE_TIME start = 0, end = 0, t = 500, t2 = 900;
  EXPECT_EQ(VFW_E_SAMPLE_TIME_NOT_SET, m_sample->GetTime(&start, &end));
  EXPECT_EQ(S_OK, m_sample->SetTime(&t, nullptr));
  EXPECT_EQ(VFW_S_NO_STOP_TIME, m_sample->GetTime(&start, &end));
  EXPECT_EQ(500, start);
  EXPECT_EQ(501, end);
  EXPECT_EQ(S_OK, m_sample->SetTime(&t, &t2));
  EXPECT_EQ(S_OK, m_sample->GetTime(&start, &end));
  EXPECT_EQ(900, end);
  EXPECT_EQ(S_OK, m_sample->SetTime(nullptr, nullptr));
  EXPECT_EQ(VFW_E_SAMPLE_TIME_NOT_SET, m_sample->GetTime(&start, &end));

  LONGLONG m1 = 10, m2 = 30;
  EXPECT_EQ(E_POINTER, m_sample->SetMediaTime(&m1, nullptr));
  EXPECT_EQ(VFW_E_MEDIA_TIME_NOT_SET, m_sample->GetMediaTime(&m1, &m2));
  EXPECT_EQ(S_OK, m_sample->SetMediaTime(&t, &t2));
  EXPECT_EQ(S_OK, m_sample->GetMediaTime(&m1, &m2));
  EXPECT_EQ(500, m1);
  EXPECT_EQ(900, m2);
}

TEST_F(MediaSampleTest, ActualLengthMayFillTheBuffer) {
  EXPECT_EQ(S_OK, m_sample->SetActualDataLength(100));
  EXPECT_EQ(VFW_E_BUFFER_OVERFLOW, m_sample->SetActualDataLength(101));
}

TEST_F(MediaSampleTest, LastReleaseClearsFlagsAndType) {
  CMediaType mt = videoType(4, 4);
  m_sample->SetSyncPoint(TRUE);
  m_sample->SetDiscontinuity(TRUE);
  ASSERT_EQ(S_OK, m_sample->SetMediaType(&mt));
  m_sample->Release();
  m_sample = nullptr;

  // The free list is a stack, so the same sample comes back.
  IMediaSample* again = nullptr;
  ASSERT_EQ(S_OK, m_allocator->GetBuffer(&again, nullptr, nullptr, 0));
  EXPECT_EQ(S_FALSE, again->IsSyncPoint());
  EXPECT_EQ(S_FALSE, again->IsDiscontinuity());
  AM_MEDIA_TYPE* type = reinterpret_cast<AM_MEDIA_TYPE*>(1);
  EXPECT_EQ(S_FALSE, again->GetMediaType(&type));
  EXPECT_EQ(nullptr, type);
  again->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&m_sample));
  again->Release();
}

TEST_F(MediaSampleTest, PropertiesNeverCarryMediaTime) {
  LONGLONG m1 = 1, m2 = 2;
  m_sample->SetMediaTime(&m1, &m2);
  m_sample->SetSyncPoint(TRUE);
  AM_SAMPLE2_PROPERTIES props = properties();
  EXPECT_EQ(64u, props.cbData);
  EXPECT_EQ(static_cast<DWORD>(AM_SAMPLE_SPLICEPOINT), props.dwSampleFlags);

  // Neither setting nor clearing the flag through the record has an effect.
  const DWORD mediaTimeValid = 0x20;
  props.dwSampleFlags = AM_SAMPLE_SPLICEPOINT | mediaTimeValid;
  EXPECT_EQ(E_INVALIDARG, m_sample->SetProperties(sizeof(props), reinterpret_cast<BYTE*>(&props)));
  props.dwSampleFlags = 0;
  EXPECT_EQ(S_OK, m_sample->SetProperties(sizeof(props), reinterpret_cast<BYTE*>(&props)));
  EXPECT_EQ(S_OK, m_sample->GetMediaTime(&m1, &m2));
}

TEST_F(MediaSampleTest, RefusedPropertiesChangeNothing) {
  struct Case {
    const char* name;
    DWORD length;
    void (*change)(AM_SAMPLE2_PROPERTIES&);
    HRESULT expected;
  };
  const Case cases[] = {
      {"foreign buffer", 64, [](AM_SAMPLE2_PROPERTIES& p) { p.pbBuffer += 1; }, E_INVALIDARG},
      {"other size", 64, [](AM_SAMPLE2_PROPERTIES& p) { p.cbBuffer = 50; }, E_INVALIDARG},
      {"actual beyond size", 64, [](AM_SAMPLE2_PROPERTIES& p) { p.lActual = 101; }, E_INVALIDARG},
      {"type without type", 64,
       [](AM_SAMPLE2_PROPERTIES& p) { p.dwSampleFlags |= AM_SAMPLE_TYPECHANGED; }, E_POINTER},
      {"start time without stop", offsetof(AM_SAMPLE2_PROPERTIES, tStop),
       [](AM_SAMPLE2_PROPERTIES& p) { p.dwSampleFlags |= AM_SAMPLE_TIMEVALID; }, E_INVALIDARG},
      {"too long", 68, [](AM_SAMPLE2_PROPERTIES&) {}, E_INVALIDARG},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    struct {
      AM_SAMPLE2_PROPERTIES props;
      DWORD extra;
    } record = {properties(), 0};
    record.props.cbData = c.length;
    record.props.lActual = 60;
    record.props.dwTypeSpecificFlags = 7;
    c.change(record.props);
    EXPECT_EQ(c.expected, m_sample->SetProperties(c.length, reinterpret_cast<BYTE*>(&record)));
    EXPECT_EQ(100, m_sample->GetActualDataLength());
    EXPECT_EQ(0u, properties().dwTypeSpecificFlags);
  }
}

}  // namespace
