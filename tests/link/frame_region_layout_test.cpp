#include "link/frame_region_layout.h"

#include <gtest/gtest.h>

#include <vector>

#include "link/byte_order.h"
#include "link/frame_cipher.h"

namespace {

CaptureFrameRecord sampleRecord() {
  CaptureFrameRecord record;
  record.width = 640;
  record.height = 480;
  record.adapterLuid.LowPart = 0xCAFE;
  record.is709 = 1;
  record.isFullRange = 1;
  return record;
}

TEST(FrameRegionLayout, PlainPublicationSwapsBuffersAndLeavesTheColourFlags) {
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
}

// A sealed length from the writer is bounded before anything is deciphered; a record with a
// side of 0 is no frame either, and neither is counted as read.
TEST(FrameRegionLayout, SealedRecordIsAFrameOnlyWithinItsBoundsAndWithBothSides) {
  struct { uint32_t width, height; uint64_t length; size_t regionSize; bool frame; const char* fault; } cases[] = {
      {640, 480, 96, 4096, true, nullptr},
      {640, 480, 1024, 4096, true, nullptr},
      {640, 480, 1032, 4096, false, "sealedLength above header area"},
      {640, 480, 0x8000000000000000ULL, 4096, false, "sealedLength above header area"},
      {640, 480, 96, 0x28 + 96, true, nullptr},
      {640, 480, 96, 0x28 + 95, false, "sealed record past region"},
      {0, 480, 96, 4096, false, nullptr},
      {640, 0, 96, 4096, false, nullptr},
  };
  const uint32_t zeroChain[2] = {0, 0};
  const FrameCipher cipher(reinterpret_cast<const uint8_t*>(g_frameCipherKey.data()),
                           g_frameCipherKey.size(), zeroChain);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " length " << c.length
                                    << " region " << c.regionSize);
    CaptureFrameRecord published = sampleRecord();
    published.width = c.width;
    published.height = c.height;
    std::vector<uint8_t> region(4096, 0);
    publishSealedRecord(region.data(), cipher, published, false);
    region.resize(c.regionSize);
    storeLittleEndian64(region.data() + sealed_offset::kSealedLength, c.length);
    CaptureFrameRecord read;
    const char* fault = "unset";
    EXPECT_EQ(readSealedRecord(region.data(), region.size(), cipher, 7, read, fault), c.frame);
    EXPECT_STREQ(fault, c.fault);
    EXPECT_EQ(loadLittleEndian64(region.data() + sealed_offset::kReadCount), c.frame ? 1u : 0u);
  }
}

}  // namespace
