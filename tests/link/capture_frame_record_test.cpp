#include "link/capture_frame_record.h"

#include <gtest/gtest.h>

#include "tests/link/hex_text.h"

namespace {

// Every field holds bytes of its own, so a moved, resized or byte-swapped field shows.
TEST(CaptureFrameRecord, FieldsLieAtTheirLittleEndianOffsets) {
  CaptureFrameRecord record;
  record.recordFlag = 0x11121314;
  record.width = 0x21222324;
  record.height = 0x31323334;
  record.readCount = 0x4142434445464748;
  record.timestampMs = 0x5152535455565758;
  record.readBufferOffset = 0x6162636465666768;
  record.writeBufferOffset = 0x7172737475767778;
  record.lastReaderPid = 0x81828384;
  record.frameKind = 0x91929394;
  record.textureId = 0xA1A2A3A4;
  record.adapterIndex = 0xB1B2B3B4;
  record.keyedMutexKey = 0xC1C2C3C4C5C6C7C8;
  record.dumpFrame = 0xD1;
  record.adapterLuid.LowPart = 0xE1E2E3E4;
  record.adapterLuid.HighPart = int32_t(0xF1F2F3F4);
  record.is709 = 0xF5F6F7F8;
  record.isFullRange = 0xF9;
  const std::string wire =
      "141312112423222134333231000000004847464544434241585756555453525168676665646362617877767574737271"
      "8483828194939291A4A3A2A1B4B3B2B1C8C7C6C5C4C3C2C1D1000000E4E3E2E1F4F3F2F1F8F7F6F5F900000000000000";
  std::vector<uint8_t> encoded(96, 0xEE);
  encodeFrameRecord(record, encoded.data());
  EXPECT_EQ(hexText(encoded), wire);
  // The encoder is pinned, so a decoder that reads a field from the wrong place breaks this.
  encodeFrameRecord(decodeFrameRecord(hexBytes(wire).data()), encoded.data());
  EXPECT_EQ(hexText(encoded), wire);
}

}  // namespace
