#include "link/frame_record_bounds.h"

#include <gtest/gtest.h>

namespace {

CaptureFrameRecord recordOf(uint32_t width, uint32_t height, uint64_t offset, uint32_t kind = 0) {
  CaptureFrameRecord record;
  record.width = width;
  record.height = height;
  record.readBufferOffset = offset;
  record.frameKind = kind;
  return record;
}

TEST(FrameRecordBounds, FramesOutsideTheRegionOrAbove3840AreRefusedWithTheirReason) {
  const uint64_t region = 66356224;
  const struct {
    CaptureFrameRecord record;
    uint64_t frameBytes;
    const char* fault;  // null: the frame may be read
  } cases[] = {
      {recordOf(3840, 2160, 33178624), 33177600, nullptr},
      {recordOf(3840, 2160, 33178625), 33177600, "offset+bytes past region"},
      {recordOf(1, 1, region), 0, nullptr},
      {recordOf(1, 1, region + 1), 0, "offset+bytes past region"},
      // The sum of offset and size would wrap to a small number.
      {recordOf(2, 2, ~uint64_t(0) - 7), 16, "offset+bytes past region"},
      {recordOf(3840, 3840, 33178624), 3840ull * 3840 * 4, "offset+bytes past region"},
      {recordOf(3841, 1, 1024), 4, "width above 3840"},
      {recordOf(1, 5000, 1024), 4, "height above 3840"},
      // A texture frame reads no pixels from the region, but the stream sizes buffers by it.
      {recordOf(3840, 3840, ~uint64_t(0), kTextureFrame), 3840ull * 3840 * 4, nullptr},
      {recordOf(3841, 64, 0, kTextureFrame), 0, "width above 3840"},
      {recordOf(64, 3841, 0, 2), 0, "height above 3840"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.record.width << "x" << c.record.height << " at "
                                    << c.record.readBufferOffset << " kind " << c.record.frameKind);
    EXPECT_STREQ(frameRecordFault(c.record, region, c.frameBytes), c.fault);
  }
}

}  // namespace
