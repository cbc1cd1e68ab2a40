#include "tools/zarnmixer-sim/frame_layout.h"

#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>

namespace {

int half(int size) { return (size + 1) / 2; }

}  // namespace

int64_t frameLayoutBytes(uint32_t fourcc, int width, int height) {
  if (fourcc == kFourccI420 || fourcc == kFourccNV12) {
    return int64_t(width) * height + int64_t(half(width)) * half(height) * 2;
  }
  return int64_t(width) * height * 4;
}

void writeFrameLayout(const uint8_t* picture, int width, int height, uint32_t fourcc,
                      uint8_t* frame) {
  const int stride = width * 4;
  uint8_t* chroma = frame + int64_t(width) * height;
  if (fourcc == kFourccI420) {
    uint8_t* v = chroma + int64_t(half(width)) * half(height);
    libyuv::ARGBToI420(picture, stride, frame, width, chroma, half(width), v, half(width), width,
                       height);
  } else if (fourcc == kFourccNV12) {
    libyuv::ARGBToNV12(picture, stride, frame, width, chroma, half(width) * 2, width, height);
  } else {
    // A negative height makes libyuv read the picture from its last row up.
    libyuv::ARGBCopy(picture, stride, frame, stride, width, -height);
  }
}
