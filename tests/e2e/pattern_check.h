#pragma once
// Checks a captured picture of the reference mixer's test pattern (link/test_pattern.h).
#include <gtest/gtest.h>

#include <cstdint>

namespace zarn::test {

// Success when each quadrant of the body mostly shows its own colour, each channel within
// `tolerance`: a picture upside down or mirrored fails, the moving bar does not. Pixels are blue,
// green, red, alpha, top row first.
::testing::AssertionResult showsPatternUpright(const uint8_t* frame, int width, int height,
                                               int tolerance);

}  // namespace zarn::test
