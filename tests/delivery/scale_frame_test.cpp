#include "delivery/scale_frame.h"

#include <gtest/gtest.h>

#include <vector>

#include "delivery/format_tags.h"
#include "delivery/frame_buffer.h"
#include "delivery/scale_statistics.h"
#include "host/platform.h"
#include "tests/delivery/guarded_buffer.h"
#include "tests/delivery/pixel_reference.h"
#include "tests/support/fake_clock.h"

namespace {

constexpr uint8_t kUnwritten = 0xA5;
constexpr FrameFitMode kCrop = FrameFitMode::CropToFill;

std::vector<uint8_t> bytes(const GuardedBuffer& buffer, size_t from = 0, size_t count = 0) {
  return {buffer.data() + from, buffer.data() + (count ? from + count : buffer.size())};
}

// Samples end at a guard page with rows of exactly width times the pixel size.
TEST(ScaleFrame, PackedOutputMatchesPlainReference) {
  struct Case {
    int32_t sw, sh, dw, dh, bitCount;
    bool flip;
  } const cases[] = {{33, 17, 33, 17, 24, false}, {33, 17, 33, 17, 24, true},
                     {1, 1, 1, 1, 24, true},      {35, 9, 35, 9, 32, true},
                     {64, 48, 33, 19, 24, true},  {64, 48, 33, 19, 32, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.sw << "x" << c.sh << " -> " << c.dw << "x" << c.dh
                                    << " at " << c.bitCount << " flip " << c.flip);
    GuardedBuffer source(size_t(c.sw) * c.sh * 4);
    fillPattern(source.data(), c.sw, c.sh);
    GuardedBuffer sample(size_t(c.dw) * c.dh * c.bitCount / 8, kUnwritten);
    FrameBuffer scratch;
    ScaleFrame(source.data(), c.sw, c.sh, sample.data(), c.dw, c.dh, c.bitCount, kCrop, scratch,
               c.flip, kTagRGBA);

    std::vector<uint8_t> expected;
    if (c.sw == c.dw) {
      expected = cutOut(source.data(), c.sw, Rect{0, 0, c.sw, c.sh}, c.flip);
    } else {  // the 24-bit output is the 32-bit one without alpha
      GuardedBuffer wide(size_t(c.dw) * c.dh * 4);
      ScaleFrame(source.data(), c.sw, c.sh, wide.data(), c.dw, c.dh, 32, kCrop, scratch, c.flip,
                 kTagRGBA);
      expected = bytes(wide);
    }
    EXPECT_EQ(c.bitCount == 24 ? toRgb24(expected) : expected, bytes(sample));
  }
}

// Constant planes stay constant under any scaling, so each plane's bytes show where it went.
TEST(ScaleFrame, I420PlanesLandAtTheirOffsetsAndAreStretched) {
  const int32_t sizes[][4] = {{64, 48, 64, 48}, {64, 48, 32, 24}, {64, 48, 96, 72}, {1280, 720, 640, 480}};
  for (const auto& s : sizes) {
    SCOPED_TRACE(testing::Message() << s[0] << "x" << s[1] << " -> " << s[2] << "x" << s[3]);
    const size_t srcLuma = size_t(s[0]) * s[1], dstLuma = size_t(s[2]) * s[3];
    GuardedBuffer source(srcLuma * 3 / 2, 30);
    memset(source.data(), 10, srcLuma);
    memset(source.data() + srcLuma, 20, srcLuma / 4);
    GuardedBuffer sample(dstLuma * 3 / 2, kUnwritten);
    FrameBuffer scratch;
    ScaleFrame(source.data(), s[0], s[1], sample.data(), s[2], s[3], 12, kCrop, scratch, true,
               kTagI420);
    EXPECT_EQ(std::vector<uint8_t>(dstLuma, 10), bytes(sample, 0, dstLuma));
    EXPECT_EQ(std::vector<uint8_t>(dstLuma / 4, 20), bytes(sample, dstLuma, dstLuma / 4));
    EXPECT_EQ(std::vector<uint8_t>(dstLuma / 4, 30), bytes(sample, dstLuma * 5 / 4, dstLuma / 4));
  }
}

// Equal sizes copy exactly; a taller sample gets only the source's height of chroma rows, a
// shorter one its own, which ends at the guard page.
TEST(ScaleFrame, Nv12CopiesEqualSizesAndTakesChromaHeightFromTheSourceUpToTheSample) {
  GuardedBuffer source(66 * 38 * 3 / 2);
  for (size_t i = 0; i < source.size(); ++i) source.data()[i] = uint8_t(i * 31 + (i >> 8));
  GuardedBuffer same(source.size(), kUnwritten);
  FrameBuffer scratch;
  ScaleFrame(source.data(), 66, 38, same.data(), 66, 38, 12, kCrop, scratch, true, kTagNV12);
  EXPECT_EQ(bytes(source), bytes(same));

  GuardedBuffer taller(96 * 72 * 3 / 2, kUnwritten);
  ScaleFrame(source.data(), 66, 38, taller.data(), 96, 72, 12, kCrop, scratch, false, kTagNV12);
  const size_t chroma = 96 * 72, written = 96 * (38 / 2);
  EXPECT_NE(kUnwritten, taller.data()[chroma + written - 1]);
  EXPECT_EQ(std::vector<uint8_t>(96 * 36 - written, kUnwritten), bytes(taller, chroma + written));

  GuardedBuffer shorter(66 * 10 * 3 / 2, kUnwritten);
  ScaleFrame(source.data(), 66, 38, shorter.data(), 66, 10, 12, kCrop, scratch, false, kTagNV12);
  EXPECT_NE(kUnwritten, shorter.data()[shorter.size() - 1]);
}

// A size below one on either side, or no source at all, leaves the sample as it was.
TEST(ScaleFrame, UnsupportedOutputEmptySourceOrEmptySizeWritesNothingButIsCounted) {
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
  // A still clock: after the first call no report is due, so the tally only grows.
  FakeClock clock;
  setPlatform(&clock);
  FrameBuffer scratch;
  ScaleFrame(nullptr, 0, 0, nullptr, 0, 0, 0, kCrop, scratch, false, kTagRGBA);
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.bitCount << (c.noSource ? " no source " : " ") << c.sw
                                    << "x" << c.sh << " -> " << c.dw << "x" << c.dh);
    GuardedBuffer sample(32 * 32 * 4, kUnwritten);
    const int framesBefore = scaleFrameStatistics().frames();
    ScaleFrame(c.noSource ? nullptr : source.data(), c.sw, c.sh, sample.data(), c.dw, c.dh,
               c.bitCount, kCrop, scratch, false, c.fourcc);
    EXPECT_EQ(framesBefore + 1, scaleFrameStatistics().frames());
    EXPECT_EQ(std::vector<uint8_t>(sample.size(), kUnwritten), bytes(sample));
  }
  setPlatform(nullptr);
}

}  // namespace
