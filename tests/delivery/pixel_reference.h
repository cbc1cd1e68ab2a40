#pragma once
// Plain loop-by-loop versions of what the scaler does, to compare its output with.
#include <cstdint>
#include <vector>

struct Rect {
  int32_t x, y, width, height;
};

// A 32-bit image in which neighbouring pixels differ.
inline void fillPattern(uint8_t* argb, int32_t width, int32_t height) {
  for (int64_t i = 0; i < int64_t(width) * height; ++i) {
    const int64_t x = i % width, y = i / width;
    argb[i * 4 + 0] = uint8_t(x * 7 + y);
    argb[i * 4 + 1] = uint8_t(y * 13 + (x >> 3));
    argb[i * 4 + 2] = uint8_t(x ^ (y * 3));
    argb[i * 4 + 3] = uint8_t(255 - x - y);
  }
}

// `area` of a 32-bit image as a tight image of its own, rows reversed if `flip`.
inline std::vector<uint8_t> cutOut(const uint8_t* argb, int32_t width, const Rect& area,
                                   bool flip) {
  std::vector<uint8_t> out;
  for (int32_t row = 0; row < area.height; ++row) {
    const int32_t y = area.y + (flip ? area.height - 1 - row : row);
    const uint8_t* start = argb + (int64_t(y) * width + area.x) * 4;
    out.insert(out.end(), start, start + area.width * 4);
  }
  return out;
}

// 32-bit pixels to 24-bit ones: the alpha byte dropped, rows without padding.
inline std::vector<uint8_t> toRgb24(const std::vector<uint8_t>& argb) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i < argb.size(); i += 4) out.insert(out.end(), &argb[i], &argb[i] + 3);
  return out;
}
