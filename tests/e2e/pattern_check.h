#pragma once
// Checks a captured picture of the reference mixer's test pattern (link/test_pattern.h).
#include <gtest/gtest.h>

#include "tests/e2e/bmp_image.h"

namespace zarn::test {

// Success when each quadrant of the body mostly shows its own colour, each channel within
// `tolerance`: a picture upside down or mirrored fails, the moving bar does not.
::testing::AssertionResult showsPatternUpright(const BgraImage& image, int tolerance);

}  // namespace zarn::test
