#pragma once
// Plain processor versions of the texture reader's colour conversions, to compare with.
#include <cstdint>
#include <vector>

// 4 bytes a pixel, red first, rows packed.
struct RgbaImage {
  int width, height;
  std::vector<uint8_t> pixels;
};

// Red, green and blue ramps across, down and diagonally (0 and 255 in each), alpha varied.
RgbaImage makeTestPattern(int width, int height);
std::vector<uint8_t> exchangeRedBlue(std::vector<uint8_t> pixels);

// Blue first, bottom row first, 3 or 4 bytes a pixel; `limited` maps R, G, B to 16..235.
std::vector<uint8_t> expectedRgb(const RgbaImage& image, int bytesPerPixel, bool limited);

// Y, then U and V planes of width / 2 by height / 2: the matrix applied to the image filtered
// linearly (mirrored at the edges) where each sample stands.
std::vector<uint8_t> expectedPlanar(const RgbaImage& image, bool is709, bool isFullRange);
