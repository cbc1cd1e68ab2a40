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

void addPlane(PlaneLayout& layout, int32_t stride, int32_t rowBytes, int32_t rows) {
  const int i = layout.planes++;
  layout.offset[i] = layout.bytes;
  layout.stride[i] = stride;
  layout.rowBytes[i] = rowBytes;
  layout.rows[i] = rows;
  if (stride > 0 && rows > 0) layout.bytes += uint64_t(stride) * uint64_t(rows);
}

}  // namespace

PlaneLayout planeLayout(uint32_t tag, int32_t width, int32_t height) {
  PlaneLayout layout;
  const int32_t chromaWidth = int32_t((int64_t(width) + 1) / 2);
  const int32_t chromaHeight = int32_t((int64_t(height) + 1) / 2);
  switch (layoutOf(tag)) {
    case Layout::Packed32:
      addPlane(layout, width * 4, width * 4, height);
      break;
    case Layout::Packed24:
      addPlane(layout, (width * 3 + 3) & ~3, width * 3, height);
      break;
    case Layout::Byte:
      addPlane(layout, width, width, height);
      break;
    case Layout::Planar420:
      addPlane(layout, width, width, height);
      addPlane(layout, chromaWidth, chromaWidth, chromaHeight);
      addPlane(layout, chromaWidth, chromaWidth, chromaHeight);
      break;
    case Layout::SemiPlanar420:
      addPlane(layout, width, width, height);
      addPlane(layout, chromaWidth * 2, chromaWidth * 2, chromaHeight);
      break;
    case Layout::Unknown:
      break;
  }
  return layout;
}

uint32_t imageSizeForTag(uint32_t tag, int32_t width, int32_t height) {
  return uint32_t(planeLayout(tag, width, height).bytes + 3) & ~3u;
}

void layOutPlanes(uint32_t tag, uint8_t* base, int32_t width, int32_t height,
                  uint8_t* plane[3], int32_t stride[3]) {
  const PlaneLayout layout = planeLayout(tag, width, height);
  if (layout.planes == 0) return;
  for (int i = 0; i < 3; ++i) {
    // Without storage every plane stays null, so that the converters refuse the image.
    plane[i] = base && i < layout.planes ? base + layout.offset[i] : nullptr;
    stride[i] = layout.stride[i];
  }
}
