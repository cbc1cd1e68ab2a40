#include "link/test_pattern.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

testing::AssertionResult pixelIs(const std::vector<uint8_t>& frame, int width, int x, int y,
                                 TestPatternColour colour) {
  const uint8_t* p = frame.data() + (size_t(y) * width + x) * 4;
  if (p[0] == colour.blue && p[1] == colour.green && p[2] == colour.red && p[3] == 255) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "pixel " << x << "," << y << " is " << int(p[0]) << ","
                                     << int(p[1]) << "," << int(p[2]) << "," << int(p[3]);
}

TEST(TestPattern, StampReadsBackAndQuadrantsTellOrientation) {
  const struct {
    int width, height;
  } sizes[] = {{64, 2}, {67, 9}, {641, 481}, {1920, 1080}};
  for (const auto& s : sizes) {
    SCOPED_TRACE(testing::Message() << s.width << "x" << s.height);
    std::vector<uint8_t> frame(size_t(s.width) * s.height * 4);
    renderTestPattern(frame.data(), s.width, s.height, {0x80000001u, 0xFEDC0123u});
    TestPatternStamp stamp = {};
    ASSERT_TRUE(readTestPatternStamp(frame.data(), s.width, s.height, stamp));
    EXPECT_EQ(stamp.counter, 0x80000001u);
    EXPECT_EQ(stamp.timestampMs, 0xFEDC0123u);


    // Counter 0 puts the grey bar at the left edge of the body.
    renderTestPattern(frame.data(), s.width, s.height, {0, 5});
    const int last = s.height - 1;
    const int leftOfMiddle = s.width / 2 - 1;
    if (s.height >= 9) {
      EXPECT_TRUE(pixelIs(frame, s.width, leftOfMiddle, s.height / 8, kPatternTopLeft));
      EXPECT_TRUE(pixelIs(frame, s.width, s.width - 1, s.height / 8, kPatternTopRight));
    }
    EXPECT_TRUE(pixelIs(frame, s.width, leftOfMiddle, last, kPatternBottomLeft));
    EXPECT_TRUE(pixelIs(frame, s.width, s.width - 1, last, kPatternBottomRight));
    EXPECT_TRUE(pixelIs(frame, s.width, 0, last, kPatternBar));
  }
}

}  // namespace
