#pragma once
// The colour matrices of the planar conversions, shared by the shaders and the processor route.
#include <cstdint>

// Factors of R, G and B in thousandths, then the offset in 8-bit codes, for Y, U and V.
struct ColourMatrix {
  int32_t y[4];
  int32_t u[4];
  int32_t v[4];
};

// By matrix (601, 709), then by range (limited, full).
inline constexpr ColourMatrix kColourMatrices[2][2] = {
    {{{257, 504, 98, 16}, {-148, -291, 439, 128}, {439, -368, -71, 128}},
     {{299, 587, 114, 0}, {-169, -331, 500, 128}, {500, -419, -81, 128}}},
    {{{183, 614, 62, 16}, {-101, -339, 439, 128}, {439, -399, -40, 128}},
     {{213, 715, 72, 0}, {-115, -385, 500, 128}, {500, -454, -46, 128}}},
};
