#include "tests/e2e/bmp_image.h"

#include <cstdlib>

#include "tests/support/install_layout.h"

namespace zarn::test {
namespace {

uint32_t le32(const std::string& bytes, size_t offset) {
  return uint32_t(uint8_t(bytes[offset])) | uint32_t(uint8_t(bytes[offset + 1])) << 8 |
         uint32_t(uint8_t(bytes[offset + 2])) << 16 | uint32_t(uint8_t(bytes[offset + 3])) << 24;
}

uint16_t le16(const std::string& bytes, size_t offset) {
  return uint16_t(uint8_t(bytes[offset]) | uint8_t(bytes[offset + 1]) << 8);
}

}  // namespace

bool readBmp(const std::wstring& path, BgraImage& image) {
  const std::string file = readFileBytes(path);
  if (file.size() < 54 || file[0] != 'B' || file[1] != 'M') return false;
  const uint32_t dataOffset = le32(file, 10);
  const int32_t width = int32_t(le32(file, 18));
  const int32_t signedHeight = int32_t(le32(file, 22));
  const int bitCount = le16(file, 28);
  const uint32_t compression = le32(file, 30);
  if (width < 1 || signedHeight == 0 || compression != 0 || (bitCount != 24 && bitCount != 32)) {
    return false;
  }
  const int height = std::abs(signedHeight);
  const int bytesPerPixel = bitCount / 8;
  const size_t stride = (size_t(width) * bytesPerPixel + 3) & ~size_t(3);
  if (file.size() < dataOffset + stride * height) return false;

  image.width = width;
  image.height = height;
  image.pixels.assign(size_t(width) * height * 4, 255);
  for (int y = 0; y < height; ++y) {
    // A positive height stores the bottom row first.
    const int fileRow = signedHeight > 0 ? height - 1 - y : y;
    const char* source = file.data() + dataOffset + stride * fileRow;
    uint8_t* target = &image.pixels[size_t(y) * width * 4];
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 3; ++c) target[x * 4 + c] = uint8_t(source[x * bytesPerPixel + c]);
    }
  }
  return true;
}

}  // namespace zarn::test
