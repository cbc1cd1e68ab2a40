#pragma once
// A test source and a test sink, each held once, not yet connected; the sink offers its own
// allocator. At the end both are disconnected and released, and no framework object is left.
#include <gtest/gtest.h>

#include "media/unknown.h"
#include "tests/media/media_test_support.h"
#include "tests/media/test_filters.h"

namespace zarn::test {

class SourceSinkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_objectsBefore = CBaseObject::ObjectsActive();
    m_source = new TestSource();
    m_source->AddRef();
    m_sink = new TestSinkFilter();
    m_sink->AddRef();
    m_stream = m_source->stream();
    m_in = m_sink->pin();
    m_in->offerAllocator = true;
  }

  void TearDown() override {
    // A test that released the source already has set it to null.
    if (m_source) {
      m_stream->Disconnect();
    }
    m_in->Disconnect();
    if (m_source) {
      EXPECT_EQ(0u, m_source->Release());
    }
    EXPECT_EQ(0u, m_sink->Release());
    EXPECT_EQ(m_objectsBefore, CBaseObject::ObjectsActive());
  }

  ComScope m_com;
  LONG m_objectsBefore = 0;
  TestSource* m_source = nullptr;
  TestSinkFilter* m_sink = nullptr;
  TestStream* m_stream = nullptr;
  TestInputPin* m_in = nullptr;
};

}  // namespace zarn::test
