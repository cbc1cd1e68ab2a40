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

::testing::AssertionResult showsPatternUpright(const BgraImage& image, int tolerance) {
  struct Quadrant {
    const char* name;
    bool top;
    bool left;
    TestPatternColour colour;
  };
  const Quadrant quadrants[] = {{"top left", true, true, kPatternTopLeft},
                                {"top right", true, false, kPatternTopRight},
                                {"bottom left", false, true, kPatternBottomLeft},
                                {"bottom right", false, false, kPatternBottomRight}};
  const int half = image.width / 2;
  // Middle rows of the body's halves; the stamp strip takes the top eighth.
  const int topRow = (image.height / 8 + image.height / 2) / 2;
  const int bottomRow = image.height * 3 / 4;
  for (const Quadrant& q : quadrants) {
    const int y = q.top ? topRow : bottomRow;
    const int first = q.left ? 0 : half;
    int matching = 0;
    for (int x = first; x < first + half; ++x) matching += near(image.at(x, y), q.colour, tolerance);
    // The grey bar covers a sixteenth of a quadrant at most.
    if (matching * 10 < half * 8) {
      const uint8_t* centre = image.at(first + half / 2, y);
      return ::testing::AssertionFailure()
             << q.name << ": " << matching << " of " << half << " pixels in row " << y
             << " match; centre is (r,g,b) = (" << int(centre[2]) << "," << int(centre[1]) << ","
             << int(centre[0]) << ")";
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace zarn::test
