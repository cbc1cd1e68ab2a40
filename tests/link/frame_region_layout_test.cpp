#include "link/frame_region_layout.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "link/byte_order.h"
#include "link/frame_cipher.h"

namespace {

FrameCipher recordCipher() {
  const uint32_t zeroChain[2] = {0, 0};
  return FrameCipher(reinterpret_cast<const uint8_t*>(g_frameCipherKey.data()),
                     g_frameCipherKey.size(), zeroChain);
}

CaptureFrameRecord sampleRecord() {
  CaptureFrameRecord record;
  record.recordFlag = 1;
  record.width = 640;
  record.height = 480;
  record.timestampMs = 0x123456789AULL;
  record.frameKind = kTextureFrame;
  record.textureId = 0x4422;
  record.adapterIndex = 2;
  record.keyedMutexKey = 0x1122334455667788ULL;
  record.dumpFrame = 1;
  record.adapterLuid.LowPart = 0xCAFE;
  record.adapterLuid.HighPart = -3;
  record.is709 = 1;
  record.isFullRange = 1;
  return record;
}

TEST(FrameRegionLayout, RegionSizesFollowThirtyTwoBitSignedArithmetic) {
  const struct {
    int32_t header, width, height, size;
  } cases[] = {
      {1024, 3840, 2160, int32_t(kDefaultFrameRegionSize)},
      {1024, 3, 3, 1096},
      {0, 0, 5, 0},
      {1024, 16384, 16384, -2147482624},
      {1024, 20000, 20000, -1094966272},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height);
    EXPECT_EQ(frameRegionSize(c.header, c.width, c.height), c.size);
  }
}

TEST(FrameRegionLayout, SealedPublicationReadsBackWithTheHeaderCounters) {
  std::vector<uint8_t> region(4096, 0xCC);
  layOutSealedHeader(region.data(), 1024, 8, 8, 77);
  EXPECT_EQ(loadLittleEndian64(region.data() + sealed_offset::kReadBufferOffset), 1280u);
  EXPECT_EQ(writeBufferOffset(region.data(), true), 1024u);
  EXPECT_EQ(sealedLength(region.data()), 0u);

  const FrameCipher cipher = recordCipher();
  CaptureFrameRecord published = sampleRecord();
  publishSealedRecord(region.data(), cipher, published, true);
  EXPECT_EQ(sealedLength(region.data()), 96u);
  EXPECT_EQ(published.readBufferOffset, 1024u);
  EXPECT_EQ(published.writeBufferOffset, 1280u);

  CaptureFrameRecord read;
  const char* fault = nullptr;
  ASSERT_TRUE(readSealedRecord(region.data(), region.size(), cipher, 4242, read, fault));
  ASSERT_TRUE(readSealedRecord(region.data(), region.size(), cipher, 4343, read, fault));
  EXPECT_EQ(read.readCount, 2u);
  EXPECT_EQ(read.lastReaderPid, 4343u);
  EXPECT_EQ(read.readBufferOffset, 1024u);
  EXPECT_EQ(read.writeBufferOffset, 1280u);
  EXPECT_EQ(read.width, 640u);
  EXPECT_EQ(read.timestampMs, 0x123456789AULL);
  EXPECT_EQ(read.keyedMutexKey, 0x1122334455667788ULL);
  EXPECT_EQ(read.adapterLuid.HighPart, -3);
  EXPECT_EQ(read.isFullRange, 1);
  EXPECT_EQ(loadLittleEndian32(region.data() + sealed_offset::kCreatorValue), 77u);
}

TEST(FrameRegionLayout, PlainPublicationLeavesColourFlagsAndCountsAtUnlock) {
  std::vector<uint8_t> region(4096, 0xCC);
  layOutPlainHeader(region.data(), 1024, 3, 3);
  CaptureFrameRecord published = sampleRecord();
  publishPlainRecord(region.data(), published, true);

  CaptureFrameRecord read;
  ASSERT_TRUE(readPlainRecord(region.data(), read));
  EXPECT_EQ(read.readBufferOffset, 1024u);
  EXPECT_EQ(read.writeBufferOffset, 1060u);
  EXPECT_EQ(read.is709, 0u);
  EXPECT_EQ(read.isFullRange, 0);
  EXPECT_EQ(read.adapterLuid.LowPart, 0xCAFEu);
  EXPECT_EQ(read.readCount, 0u);
  countPlainRead(region.data(), 99);
  ASSERT_TRUE(readPlainRecord(region.data(), read));
  EXPECT_EQ(read.readCount, 1u);
  EXPECT_EQ(read.lastReaderPid, 99u);
}

TEST(FrameRegionLayout, SealedRegionReadAsPlainHasNoFrame) {
  std::vector<uint8_t> region(4096, 0);
  layOutSealedHeader(region.data(), 1024, 8, 8, 0);
  CaptureFrameRecord published = sampleRecord();
  publishSealedRecord(region.data(), recordCipher(), published, false);
  // Width falls on the high half of the read count, which is 0.
  CaptureFrameRecord read;
  EXPECT_FALSE(readPlainRecord(region.data(), read));
}

// A sealed length from the writer is bounded before anything is deciphered; one the cipher
// refuses still reaches it, so that a plain region is recognised as before.
TEST(FrameRegionLayout, SealedLengthPastTheHeaderAreaOrRegionGivesNoFrame) {
  const struct {
    uint64_t length;
    size_t regionSize;
    const char* fault;  // null: a frame is read
  } cases[] = {
      {96, 4096, nullptr},
      {1024, 4096, nullptr},
      {1032, 4096, "sealedLength above header area"},
      {0x8000000000000000ULL, 4096, "sealedLength above header area"},
      {96, 0x28 + 96, nullptr},
      {96, 0x28 + 95, "sealed record past region"},
  };
  const FrameCipher cipher = recordCipher();
  std::vector<uint8_t> image(4096, 0);
  CaptureFrameRecord published = sampleRecord();
  publishSealedRecord(image.data(), cipher, published, false);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "length " << c.length << " region " << c.regionSize);
    std::vector<uint8_t> region(image.begin(), image.begin() + c.regionSize);
    storeLittleEndian64(region.data() + sealed_offset::kSealedLength, c.length);

    CaptureFrameRecord read;
    const char* fault = "unset";
    const bool frame = readSealedRecord(region.data(), region.size(), cipher, 7, read, fault);
    EXPECT_EQ(frame, c.fault == nullptr);
    EXPECT_STREQ(fault, c.fault);
    EXPECT_EQ(loadLittleEndian64(region.data() + sealed_offset::kReadCount), frame ? 1u : 0u);
  }
  storeLittleEndian64(image.data() + sealed_offset::kSealedLength, 1060);
  CaptureFrameRecord read;
  const char* fault = nullptr;
  EXPECT_THROW(readSealedRecord(image.data(), image.size(), cipher, 7, read, fault),
               std::invalid_argument);
}

}  // namespace
