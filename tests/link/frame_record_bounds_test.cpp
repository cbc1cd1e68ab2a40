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

TEST(FrameRecordBounds, FramesOutsideTheRegionOrAbove16384ASideAreRefusedWithTheirReason) {
  const uint64_t region = 66356224;
  const uint64_t largest = 16384ull * 16384 * 4;
  const struct { CaptureFrameRecord record; uint64_t regionSize, frameBytes; const char* fault; } cases[] = {
      {recordOf(3840, 2160, 33178624), region, 33177600, nullptr},
      {recordOf(3840, 2160, 33178625), region, 33177600, "offset+bytes past region"},
      {recordOf(1, 1, region), region, 0, nullptr},
      {recordOf(1, 1, region + 1), region, 0, "offset+bytes past region"},
      // The sum of offset and size would wrap to a small number.
      {recordOf(2, 2, ~uint64_t(0) - 7), region, 16, "offset+bytes past region"},
      // A mixer's larger region carries larger frames; only the region bounds them.
      {recordOf(4096, 2160, 35390464), 70779904, 4096ull * 2160 * 4, nullptr},
      {recordOf(16384, 16384, 1024), largest + 1024, largest, nullptr},
      {recordOf(16385, 1, 1024), largest, 4, "width above 16384"},
      {recordOf(1, 16385, 1024), largest, 4, "height above 16384"},
      // A texture frame reads no pixels from the region, but the stream sizes buffers by it.
      {recordOf(16384, 16384, ~uint64_t(0), kTextureFrame), region, largest, nullptr},
      {recordOf(16385, 64, 0, kTextureFrame), 0, 0, "width above 16384"},
      {recordOf(64, 16385, 0, 2), 0, 0, "height above 16384"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.record.width << "x" << c.record.height << " at "
                                    << c.record.readBufferOffset << " kind " << c.record.frameKind);
    EXPECT_STREQ(frameRecordFault(c.record, c.regionSize, c.frameBytes), c.fault);
  }
}

}  // namespace
