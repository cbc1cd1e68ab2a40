#pragma once
// Four-character pixel format tags, first character in the lowest byte, and the memory
// layout each one implies.
#include <cstdint>

constexpr uint32_t makeFormatTag(const char (&text)[5]) {
  return uint32_t(uint8_t(text[0])) | uint32_t(uint8_t(text[1])) << 8 |
         uint32_t(uint8_t(text[2])) << 16 | uint32_t(uint8_t(text[3])) << 24;
}

// 32 bits a pixel, blue first. "RGBA" and "ARGB" name the same layout.
constexpr uint32_t kTagRGB4 = makeFormatTag("RGB4");
constexpr uint32_t kTagRGBA = makeFormatTag("RGBA");
constexpr uint32_t kTagARGB = makeFormatTag("ARGB");
// 32 bits a pixel, red first.
constexpr uint32_t kTagABGR = makeFormatTag("ABGR");
// 24 bits a pixel.
constexpr uint32_t kTagRGB3 = makeFormatTag("RGB3");
constexpr uint32_t kTag24BG = makeFormatTag("24BG");
// Planar 4:2:0; "YV12" keeps the plane order of "I420".
constexpr uint32_t kTagI420 = makeFormatTag("I420");
constexpr uint32_t kTagYV12 = makeFormatTag("YV12");
constexpr uint32_t kTagNV12 = makeFormatTag("NV12");
// One byte a pixel.
constexpr uint32_t kTagBYTE = makeFormatTag("BYTE");

// Where the planes of a `width` by `height` image of `tag` lie, as offsets from its start, and
// the bytes they take together. The one rule for every writer and reader of frames: 24-bit rows
// are padded to 4 bytes as in a bitmap, and 4:2:0 chroma covers odd sizes by rounding up, as
// libyuv writes it. A tag not listed above has no planes and no bytes.
struct PlaneLayout {
  int planes = 0;
  uint64_t offset[3] = {};
  int32_t stride[3] = {};
  // Rows and bytes of a row that hold pixels, a plane each.
  int32_t rows[3] = {};
  int32_t rowBytes[3] = {};
  uint64_t bytes = 0;
};
PlaneLayout planeLayout(uint32_t tag, int32_t width, int32_t height);

// Bytes that a `width` by `height` image of `tag` occupies, rounded up to 4; 0 for a tag not
// listed above.
uint32_t imageSizeForTag(uint32_t tag, int32_t width, int32_t height);

// Plane starts and row strides of a `width` by `height` image of `tag` stored at `base`.
// A tag not listed above leaves `plane` and `stride` as they are.
void layOutPlanes(uint32_t tag, uint8_t* base, int32_t width, int32_t height,
                  uint8_t* plane[3], int32_t stride[3]);
