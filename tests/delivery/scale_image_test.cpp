#include "delivery/scale_image.h"

#include <gtest/gtest.h>
#include <libyuv/scale_argb.h>

#include <vector>

#include "delivery/format_tags.h"
#include "delivery/frame_buffer.h"
#include "tests/delivery/guarded_buffer.h"
#include "tests/delivery/pixel_reference.h"

namespace {

constexpr uint8_t kUnwritten = 0xA5;
constexpr FrameFitMode kCrop = FrameFitMode::CropToFill;
constexpr FrameFitMode kLetterbox = FrameFitMode::Letterbox;
constexpr FrameFitMode kStretch = FrameFitMode::Stretch;

// Each case names the part of the source that must reach the target and the part of the
// target that receives it. The expected target is that part cut out by plain loops and
// scaled alone; the rest of the target keeps its bytes. Sources and targets end at a guard page.
TEST(ScaleImage32, FitsTheExpectedPartsOnOddSizesAndFlippedRows) {
  struct Case {
    int32_t sw, sh, dw, dh;
    FrameFitMode mode;
    bool flip;
    Rect taken, placed;
  } const cases[] = {
      {33, 17, 33, 17, kCrop, true, {0, 0, 33, 17}, {0, 0, 33, 17}},
      {7, 480, 7, 480, kStretch, true, {0, 0, 7, 480}, {0, 0, 7, 480}},
      // Narrower source: rows 60 to 419. Wider source: 960 columns from column 160.
      {640, 480, 1280, 720, kCrop, true, {0, 60, 640, 360}, {0, 0, 1280, 720}},
      {1280, 720, 640, 480, kCrop, false, {160, 0, 960, 720}, {0, 0, 640, 480}},
      {101, 51, 51, 51, kCrop, false, {25, 0, 51, 51}, {0, 0, 51, 51}},
      {51, 101, 34, 34, kCrop, true, {0, 25, 51, 51}, {0, 0, 34, 34}},
      // Offsets truncate; crop sizes round half up (56.67 rows become 57).
      {64, 49, 64, 36, kCrop, true, {0, 6, 64, 36}, {0, 0, 64, 36}},
      {100, 100, 30, 17, kCrop, false, {0, 21, 100, 57}, {0, 0, 30, 17}},
      {192, 108, 96, 54, kCrop, false, {0, 0, 192, 108}, {0, 0, 96, 54}},
      {64, 48, 101, 48, kLetterbox, false, {0, 0, 64, 48}, {18, 0, 64, 48}},
      {64, 48, 64, 60, kLetterbox, true, {0, 0, 64, 48}, {0, 6, 64, 48}},
      {33, 17, 50, 50, kLetterbox, false, {0, 0, 33, 17}, {0, 12, 50, 26}},
      {33, 17, 50, 50, kStretch, true, {0, 0, 33, 17}, {0, 0, 50, 50}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.sw << "x" << c.sh << " -> " << c.dw << "x" << c.dh
                                    << " mode " << int(c.mode) << " flip " << c.flip);
    GuardedBuffer sourceMemory(size_t(c.sw) * c.sh * 4);
    GuardedBuffer targetMemory(size_t(c.dw) * c.dh * 4, kUnwritten);
    fillPattern(sourceMemory.data(), c.sw, c.sh);
    FrameBuffer target(targetMemory.data(), c.dw, c.dh, kTagRGB4);

    ScaleImage32(FrameBuffer(sourceMemory.data(), c.sw, c.sh, kTagRGB4), target, c.mode, c.flip);

    const std::vector<uint8_t> taken = cutOut(sourceMemory.data(), c.sw, c.taken, c.flip);
    std::vector<uint8_t> expected(targetMemory.size(), kUnwritten);
    libyuv::ARGBScale(taken.data(), c.taken.width * 4, c.taken.width, c.taken.height,
                      &expected[(size_t(c.placed.y) * c.dw + c.placed.x) * 4], c.dw * 4,
                      c.placed.width, c.placed.height, libyuv::kFilterBox);
    EXPECT_EQ(0, memcmp(expected.data(), targetMemory.data(), expected.size()));
  }
}

// An empty placeholder, or a scratch image that could not grow, has no storage.
TEST(ScaleImage32, ImageWithoutStorageIsRefusedInEveryMode) {
  GuardedBuffer memory(64 * 48 * 4, kUnwritten);
  FrameBuffer emptyTarget(nullptr, 100, 48, kTagRGB4);
  for (FrameFitMode mode : {kCrop, kLetterbox, kStretch}) {
    FrameBuffer target(memory.data(), 48, 48, kTagRGB4);
    ScaleImage32(FrameBuffer(nullptr, 64, 48, kTagRGB4), target, mode, true);
    ScaleImage32(FrameBuffer(memory.data(), 64, 48, kTagRGB4), emptyTarget, mode, true);
  }
  for (size_t i = 0; i < memory.size(); ++i) ASSERT_EQ(kUnwritten, memory.data()[i]) << i;
}

}  // namespace
