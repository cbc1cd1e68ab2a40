#pragma once
// Decodes a stored picture (any format the system's image codecs know) into blue-first pixels.
#include <cstddef>
#include <cstdint>
#include <vector>

struct DecodedImage {
  int32_t width = 0;
  int32_t height = 0;
  // Depth of the picture as stored: 24 and 32 come with pixels, any other depth with none.
  int32_t bitsPerPixel = 0;
  // Bytes from one row to the next; rows are top first.
  int32_t pitch = 0;
  std::vector<uint8_t> pixels;
};

// False if the bytes are not a picture; `image` is then left empty.
bool decodeImage(const void* bytes, size_t size, DecodedImage& image);
