#include "link/capture_share_memory_mgr.h"

#include <gtest/gtest.h>

#include <vector>

#include "link/byte_order.h"
#include "link/test_pattern.h"
#include "tests/link/expected_text.h"
#include "tests/link/link_test_support.h"
#include "tests/support/child_process.h"

namespace {

CaptureFrameRecord frameOf(uint32_t width, uint32_t height, uint64_t timestamp) {
  CaptureFrameRecord record;
  record.width = width;
  record.height = height;
  record.timestampMs = timestamp;
  return record;
}

void publishPattern(CaptureShareMemoryMgr& writer, int width, int height, uint32_t counter) {
  uint32_t offset = 0;
  HANDLE mapping = nullptr;
  uint8_t* pixels = writer.lockWriteBuffer(offset, mapping);
  ASSERT_NE(pixels, nullptr);
  renderTestPattern(pixels, width, height, {counter, 1000 + counter});
  CaptureFrameRecord record = frameOf(width, height, 1000 + counter);
  writer.unLockWriteBuffer(record, true);
}

ZARN_CHILD_ROLE(read_once) {
  CaptureShareMemoryMgr reader(kFrameRegionBase);
  reader.setEncrypted(args.at(0) == "sealed");
  CaptureFrameRecord record;
  if (!reader.attach(false) || !reader.lockReadBuffer(record)) return 1;
  reader.unLockReadBuffer();
  return 0;
}

// A region left by a lying writer must not lead the next writer past its end.
TEST(CaptureShareMemory, WriterRefusesABufferThatEndsPastTheRegion) {
  CaptureShareMemoryMgr writer(L"ZARN_TEST_WRITE_BOUNDS");
  writer.create(1024, 8, 8, false, 0);
  uint32_t offset = 0;
  HANDLE mapping = nullptr;
  uint8_t* buffer = writer.lockWriteBuffer(offset, mapping);
  ASSERT_NE(buffer, nullptr);
  const uint64_t room = writer.getRegionSize() - offset;
  EXPECT_EQ(writer.lockWriteBuffer(offset, mapping, room), buffer);
  EXPECT_EQ(writer.lockWriteBuffer(offset, mapping, room + 1), nullptr);
  storeLittleEndian64(buffer - offset + record_offset::kWriteBufferOffset,
                      writer.getRegionSize() + 1);
  EXPECT_EQ(writer.lockWriteBuffer(offset, mapping), nullptr);
}

// The sealed header as the mixer's peer sees it. Its record's bytes were computed by two
// implementations outside this project: the product key, a zero chain, big-endian words.
TEST(CaptureShareMemory, SealedHeaderHoldsTheRecordAsSealedOutsideThisProject) {
  CaptureShareMemoryMgr writer(L"ZARN_TEST_SEALED_HEADER");
  writer.create(1024, 8, 8, true, 0x01020304);
  CaptureFrameRecord record = frameOf(640, 480, 0x123456789A);
  record.frameKind = 1;
  writer.unLockWriteBuffer(record, false);
  uint32_t offset = 0;
  HANDLE mapping = nullptr;
  const uint8_t* region = writer.lockWriteBuffer(offset, mapping) - offset;
  EXPECT_EQ(hexText({region, region + 0x88}),
            "0000000000000000" "0005000000000000" "0004000000000000" "00000000" "04030201"
            "6000000000000000"
            "2EB1285CD706B92FBC2B1066B346D2D1DF6AD08F38053C5F76544AEE8F2A901E"
            "64B0B549632C8754F99366609251AA73BC85C94AD5F8C22C2C78ECEDF28C9C95"
            "FB532000996720F944DC64014274C07516FF00FD2BD4CAEB49224ABCA954B51F");
}

TEST(CaptureShareMemory, ReadCountAndLastReaderPidFollowEveryReader) {
  for (bool sealed : {true, false}) {
    SCOPED_TRACE(sealed ? "sealed" : "plain");
    ASSERT_TRUE(regionGone(kFrameMappingName));
    CaptureShareMemoryMgr writer(kFrameRegionBase);
    writer.create(1024, 16, 16, sealed, 0);
    // Finding no frame yet leaves the lock free for the readers to come.
    CaptureFrameRecord none;
    EXPECT_EQ(writer.lockReadBuffer(none), nullptr);
    ASSERT_NO_FATAL_FAILURE(publishPattern(writer, 16, 16, 1));
    uint32_t lastPid = 0;
    for (int reader = 0; reader < 2; ++reader) {
      auto child = zarn::test::ChildProcess::startRole("read_once", {sealed ? "sealed" : "plain"});
      ASSERT_EQ(child.wait(15000), std::optional<DWORD>(0));
      lastPid = child.pid();
    }
    CaptureFrameRecord record = frameOf(16, 16, 2);
    writer.unLockWriteBuffer(record, false);
    EXPECT_EQ(record.readCount, 2u);
    EXPECT_EQ(record.lastReaderPid, lastPid);
  }
}

TEST(CaptureShareMemory, PlainRecordReadAsSealedFallsBackToThePlainLayout) {
  ASSERT_TRUE(regionGone(kFrameMappingName));
  CaptureShareMemoryMgr writer(kFrameRegionBase);
  writer.create(1024, 3, 3, false, 0);
  // Two publications leave the complete buffer at 1024 + 36, which lies where a sealed header
  // keeps its length: no multiple of 8.
  ASSERT_NO_FATAL_FAILURE(publishPattern(writer, 3, 3, 1));
  ASSERT_NO_FATAL_FAILURE(publishPattern(writer, 3, 3, 2));
  CaptureShareMemoryMgr reader(kFrameRegionBase);
  reader.setEncrypted(true);
  ASSERT_TRUE(reader.attach(false));
  CaptureFrameRecord record;
  EXPECT_EQ(thrownMessage([&] { reader.lockReadBuffer(record); }), "Incorrect buffer length");
  reader.unLockReadBuffer();
  reader.setEncrypted(false);
  const uint8_t* pixels = reader.lockReadBuffer(record);
  ASSERT_NE(pixels, nullptr);
  std::vector<uint8_t> frame(pixels, pixels + 36);
  reader.unLockReadBuffer();
  EXPECT_EQ(record.timestampMs, 1002u);
  std::vector<uint8_t> expected(36);
  renderTestPattern(expected.data(), 3, 3, {2, 1002});
  EXPECT_EQ(frame, expected);
}

}  // namespace
