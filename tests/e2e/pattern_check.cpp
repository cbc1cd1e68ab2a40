#include "tests/e2e/pattern_check.h"

#include <cstdlib>

#include "link/test_pattern.h"

namespace zarn::test {
namespace {

bool near(const uint8_t* pixel, TestPatternColour colour, int tolerance) {
  return std::abs(pixel[0] - colour.blue) <= tolerance &&
         std::abs(pixel[1] - colour.green) <= tolerance &&
         std::abs(pixel[2] - colour.red) <= tolerance;
}

}  // namespace

::testing::AssertionResult showsPatternUpright(const uint8_t* frame, int width, int height,
                                               int tolerance) {
  // Quadrants in reading order: top left, top right, bottom left, bottom right.
  const TestPatternColour colours[] = {kPatternTopLeft, kPatternTopRight, kPatternBottomLeft,
                                       kPatternBottomRight};
  const int half = width / 2;
  // Middle rows of the body's halves; the stamp strip takes the top eighth.
  const int rows[] = {(height / 8 + height / 2) / 2, height * 3 / 4};
  for (int q = 0; q < 4; ++q) {
    const int y = rows[q / 2], first = q % 2 * half;
    int matching = 0;
    for (int x = first; x < first + half; ++x) {
      matching += near(frame + (y * width + x) * 4, colours[q], tolerance);
    }
    // The grey bar covers a sixteenth of a quadrant at most.
    if (matching * 10 < half * 8) {
      const uint8_t* centre = frame + (y * width + first + half / 2) * 4;
      return ::testing::AssertionFailure()
             << "quadrant " << q << ": " << matching << " of " << half << " pixels in row " << y
             << " match; centre is (r,g,b) = (" << int(centre[2]) << "," << int(centre[1]) << ","
             << int(centre[0]) << ")";
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace zarn::test
