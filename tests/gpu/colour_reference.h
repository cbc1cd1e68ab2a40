#pragma once
// Plain processor versions of the texture reader's colour conversions, to compare with.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

// 4 bytes a pixel, red first, rows packed.
struct RgbaImage { int width, height; std::vector<uint8_t> pixels; };

// Factors of R, G, B and the offset of Y, U, V; by matrix (601, 709), then range (limited, full).
inline constexpr double kMatrices[2][2][3][4] = {
    {{{0.257, 0.504, 0.098, 0.0627451}, {-0.148, -0.291, 0.439, 0.5019608},
      {0.439, -0.368, -0.071, 0.5019608}},
     {{0.299, 0.587, 0.114, 0}, {-0.169, -0.331, 0.5, 0.5019608},
      {0.5, -0.419, -0.081, 0.5019608}}},
    {{{0.183, 0.614, 0.062, 0.0627451}, {-0.101, -0.339, 0.439, 0.5019608},
      {0.439, -0.399, -0.040, 0.5019608}},
     {{0.213, 0.715, 0.072, 0}, {-0.115, -0.385, 0.5, 0.5019608},
      {0.5, -0.454, -0.046, 0.5019608}}},
};

inline int mirrored(int index, int size) {
  return index < 0 ? -index - 1 : index >= size ? 2 * size - 1 - index : index;
}

// The matrix row applied to the image filtered linearly at (sx, sy), 0 to 1 across, as a code.
inline uint8_t sampleConverted(const RgbaImage& image, const double (&row)[4], double sx,
                               double sy) {
  const double u = sx * image.width - 0.5, v = sy * image.height - 0.5;
  const int x0 = int(std::floor(u)), y0 = int(std::floor(v));
  double value = row[3];
  for (int corner = 0; corner < 4; ++corner) {
    const int dx = corner & 1, dy = corner >> 1;
    const double weight = (dx ? u - x0 : 1 - u + x0) * (dy ? v - y0 : 1 - v + y0);
    const int x = mirrored(x0 + dx, image.width), y = mirrored(y0 + dy, image.height);
    const uint8_t* p = &image.pixels[(size_t(y) * image.width + x) * 4];
    value += weight * (row[0] * p[0] + row[1] * p[1] + row[2] * p[2]) / 255;
  }
  return uint8_t(std::lround(std::clamp(value, 0.0, 1.0) * 255));
}

// Red, green and blue ramps across, down and diagonally (0 and 255 in each), alpha varied.
inline RgbaImage makeTestPattern(int width, int height) {
  RgbaImage image = {width, height, {}};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image.pixels.push_back(uint8_t(x * 255 / (width - 1)));
      image.pixels.push_back(uint8_t(y * 255 / (height - 1)));
      image.pixels.push_back(uint8_t(255 - (x + y) * 255 / (width + height - 2)));
      image.pixels.push_back(uint8_t(128 + (x * 5 + y * 3) % 128));
    }
  }
  return image;
}

inline std::vector<uint8_t> exchangeRedBlue(std::vector<uint8_t> pixels) {
  for (size_t i = 0; i < pixels.size(); i += 4) std::swap(pixels[i], pixels[i + 2]);
  return pixels;
}

// Blue first, bottom row first, 3 or 4 bytes a pixel; `limited` maps R, G, B to 16..235.
inline std::vector<uint8_t> expectedRgb(const RgbaImage& image, int bytesPerPixel, bool limited) {
  std::vector<uint8_t> out;
  for (int y = image.height - 1; y >= 0; --y) {
    for (int x = 0; x < image.width; ++x) {
      const uint8_t* p = &image.pixels[(size_t(y) * image.width + x) * 4];
      for (int channel : {2, 1, 0}) {
        out.push_back(limited ? uint8_t(std::lround(219.0 * p[channel] / 255 + 16)) : p[channel]);
      }
      if (bytesPerPixel == 4) out.push_back(p[3]);
    }
  }
  return out;
}

// Y, then U and V planes of width / 2 by height / 2: the matrix applied to the image filtered
// linearly where each sample stands. The conversion draws into a target 3/2 of the height tall
// (truncated), the image over its top two thirds and the chroma rows over the rest.
inline std::vector<uint8_t> expectedPlanar(const RgbaImage& image, bool is709, bool isFullRange) {
  const auto& matrix = kMatrices[is709][isFullRange];
  const int w = image.width, h = image.height;
  const double targetRows = h * 3 >> 1;
  std::vector<uint8_t> out;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      out.push_back(sampleConverted(image, matrix[0], (x + 0.5) / w, 1.5 * (y + 0.5) / targetRows));
    }
  }
  for (int plane = 1; plane < 3; ++plane) {
    for (int y = 0; y < h / 2; ++y) {
      for (int x = 0; x < w / 2; ++x) {
        out.push_back(sampleConverted(image, matrix[plane], (2 * x + 1.0) / w,
                                      3 * (h + y + 0.5) / targetRows - 2));
      }
    }
  }
  return out;
}
