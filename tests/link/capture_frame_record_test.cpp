#include "link/capture_frame_record.h"

#include <gtest/gtest.h>

#include "tests/link/expected_text.h"

namespace {

// Field n holds bytes n1, n2, ..., so a moved, resized or byte-swapped field shows.
TEST(CaptureFrameRecord, FieldsLieAtTheirLittleEndianOffsets) {
  const CaptureFrameRecord record = {
      0x11121314, 0x21222324, 0x31323334, 0x4142434445464748, 0x5152535455565758,
      0x6162636465666768, 0x7172737475767778, 0x81828384, 0x91929394, 0xA1A2A3A4, 0xB1B2B3B4,
      0xC1C2C3C4C5C6C7C8, 0xD1, {0xE1E2E3E4, int32_t(0xF1F2F3F4)}, 0xF5F6F7F8, 0xF9};
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
