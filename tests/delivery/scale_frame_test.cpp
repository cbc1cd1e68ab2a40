#include "delivery/scale_frame.h"

#include <gtest/gtest.h>
#include <libyuv/scale_argb.h>

#include <algorithm>
#include <vector>

#include "delivery/format_tags.h"
#include "delivery/frame_buffer.h"
#include "delivery/scale_image.h"
#include "tests/delivery/guarded_buffer.h"

namespace {

constexpr uint8_t kUnwritten = 0xA5;
constexpr FrameFitMode kCrop = FrameFitMode::CropToFill;
constexpr FrameFitMode kLetterbox = FrameFitMode::Letterbox;
constexpr FrameFitMode kStretch = FrameFitMode::Stretch;

struct Rect {
  int32_t x, y, width, height;
};

// A 32-bit image in which neighbouring pixels differ.
void fillPattern(uint8_t* argb, int32_t width, int32_t height) {
  for (int64_t i = 0; i < int64_t(width) * height; ++i) {
    const int64_t x = i % width, y = i / width;
    argb[i * 4 + 0] = uint8_t(x * 7 + y);
    argb[i * 4 + 1] = uint8_t(y * 13 + (x >> 3));
    argb[i * 4 + 2] = uint8_t(x ^ (y * 3));
    argb[i * 4 + 3] = uint8_t(255 - x - y);
  }
}

// `area` of a 32-bit image as a tight image of its own, rows reversed if `flip`.
std::vector<uint8_t> cutOut(const uint8_t* argb, int32_t width, const Rect& area, bool flip) {
  std::vector<uint8_t> out;
  for (int32_t row = 0; row < area.height; ++row) {
    const int32_t y = area.y + (flip ? area.height - 1 - row : row);
    const uint8_t* start = argb + (int64_t(y) * width + area.x) * 4;
    out.insert(out.end(), start, start + area.width * 4);
  }
  return out;
}

// A size below one on either side, or no source at all, leaves the sample as it was.
TEST(ScaleFrame, UnsupportedOutputEmptySourceOrEmptySizeWritesNothing) {
  struct Case {
    int32_t bitCount;
    uint32_t fourcc;
    bool noSource;
    int32_t sw, sh, dw, dh;
  } const cases[] = {{16, kTagRGBA, false, 32, 32, 32, 32}, {12, kTagYV12, false, 32, 32, 32, 32},
                     {12, kTagRGBA, false, 32, 32, 32, 32}, {24, kTagRGBA, true, 32, 32, 32, 32},
                     {32, kTagRGBA, true, 32, 32, 32, 32},  {12, kTagI420, true, 32, 32, 32, 32},
                     {12, kTagI420, false, 0, 32, 32, 32},  {12, kTagNV12, false, 32, -2, 32, 32},
                     {12, kTagI420, false, 32, 32, 0, 32},  {12, kTagNV12, false, 32, 32, 32, -4}};
  GuardedBuffer source(32 * 32 * 4);
  FrameBuffer scratch;
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.bitCount << (c.noSource ? " no source " : " ") << c.sw
                                    << "x" << c.sh << " -> " << c.dw << "x" << c.dh);
    GuardedBuffer sample(32 * 32 * 4, kUnwritten);
    ScaleFrame(c.noSource ? nullptr : source.data(), c.sw, c.sh, sample.data(), c.dw, c.dh,
               c.bitCount, kCrop, scratch, false, c.fourcc);
    EXPECT_EQ(std::vector<uint8_t>(sample.size(), kUnwritten),
              std::vector<uint8_t>(sample.data(), sample.data() + sample.size()));
  }
}

// The part of the source taken, cut out by plain loops and scaled alone into the part of the
// target placed; letterbox margins repeat the nearest pixel of the picture.
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
    const std::vector<uint8_t> placed = expected;
    for (int32_t y = 0; c.mode == kLetterbox && y < c.dh; ++y) {
      for (int32_t x = 0; x < c.dw; ++x) {
        const int32_t fromY = std::clamp(y, c.placed.y, c.placed.y + c.placed.height - 1);
        const int32_t fromX = std::clamp(x, c.placed.x, c.placed.x + c.placed.width - 1);
        memcpy(&expected[(size_t(y) * c.dw + x) * 4], &placed[(size_t(fromY) * c.dw + fromX) * 4],
               4);
      }
    }
    EXPECT_EQ(0, memcmp(expected.data(), targetMemory.data(), expected.size()));
  }
}

}  // namespace
