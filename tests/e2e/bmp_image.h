#pragma once
// Reads the uncompressed 24- and 32-bit BMP files that ffmpeg writes.
#include <cstdint>
#include <string>
#include <vector>

namespace zarn::test {

// Pixels blue, green, red, alpha (255), rows without padding, top row first whatever the file's
// row order.
struct BgraImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;

  const uint8_t* at(int x, int y) const { return &pixels[(size_t(y) * width + x) * 4]; }
};

// False for a file that is missing, truncated, compressed or of another depth.
bool readBmp(const std::wstring& path, BgraImage& image);

}  // namespace zarn::test
