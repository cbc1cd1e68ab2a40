#include "delivery/format_tags.h"

namespace {

enum class Layout { Unknown, Packed32, Packed24, Planar420, SemiPlanar420, Byte };

Layout layoutOf(uint32_t tag) {
  switch (tag) {
    case kTagRGB4:
    case kTagRGBA:
    case kTagARGB:
    case kTagABGR:
      return Layout::Packed32;
    case kTagRGB3:
    case kTag24BG:
      return Layout::Packed24;
    case kTagI420:
    case kTagYV12:
      return Layout::Planar420;
    case kTagNV12:
      return Layout::SemiPlanar420;
    case kTagBYTE:
      return Layout::Byte;
    default:
      return Layout::Unknown;
  }
}

constexpr uint32_t roundDownTo4(uint32_t bytes) { return bytes & ~3u; }

}  // namespace

uint32_t imageSizeForTag(uint32_t tag, int32_t width, int32_t height) {
  const uint32_t pixels = uint32_t(width) * uint32_t(height);
  switch (layoutOf(tag)) {
    case Layout::Packed32:
      return roundDownTo4(pixels * 4 + 3);
    case Layout::Packed24:
      return roundDownTo4((pixels + 1) * 3);
    case Layout::Planar420:
    case Layout::SemiPlanar420:
      return roundDownTo4(pixels * 3 / 2 + 3);
    case Layout::Byte:
      return roundDownTo4(pixels + 3);
    case Layout::Unknown:
      break;
  }
  return 0;
}

void layOutPlanes(uint32_t tag, uint8_t* base, int32_t width, int32_t height,
                  uint8_t* plane[3], int32_t stride[3]) {
  const Layout layout = layoutOf(tag);
  if (layout == Layout::Unknown) return;
  const uint32_t pixels = uint32_t(width) * uint32_t(height);
  // Without storage every plane stays null, so that the converters refuse the image.
  uint8_t* chroma = base ? base + pixels : nullptr;
  plane[0] = base;
  plane[1] = nullptr;
  plane[2] = nullptr;
  stride[1] = 0;
  stride[2] = 0;
  switch (layout) {
    case Layout::Packed32:
      stride[0] = width * 4;
      break;
    case Layout::Packed24:
      stride[0] = width * 3;
      break;
    case Layout::Byte:
      stride[0] = width;
      break;
    case Layout::Planar420:
      plane[1] = chroma;
      plane[2] = chroma ? chroma + pixels / 4 : nullptr;
      stride[0] = width;
      stride[1] = width / 2;
      stride[2] = width / 2;
      break;
    case Layout::SemiPlanar420:
      plane[1] = chroma;
      stride[0] = width;
      stride[1] = width;
      break;
    case Layout::Unknown:
      break;
  }
}
