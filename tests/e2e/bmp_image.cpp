#include "tests/e2e/bmp_image.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>

#include "tests/support/install_layout.h"

namespace zarn::test {

bool readBmp(const std::wstring& path, BgraImage& image) {
  const std::string file = readFileBytes(path);
  BITMAPFILEHEADER fileHeader;
  BITMAPINFOHEADER header;
  if (file.size() < sizeof(fileHeader) + sizeof(header) || file[0] != 'B' || file[1] != 'M') {
    return false;
  }
  std::memcpy(&fileHeader, file.data(), sizeof(fileHeader));
  std::memcpy(&header, file.data() + sizeof(fileHeader), sizeof(header));
  const int32_t width = header.biWidth, signedHeight = header.biHeight;
  const int bitCount = header.biBitCount;
  if (width < 1 || signedHeight == 0 || header.biCompression != 0 ||
      (bitCount != 24 && bitCount != 32)) {
    return false;
  }
  const uint32_t dataOffset = fileHeader.bfOffBits;
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
