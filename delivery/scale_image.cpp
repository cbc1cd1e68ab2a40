#include "delivery/scale_image.h"

#include <libyuv/planar_functions.h>
#include <libyuv/scale_argb.h>

#include "delivery/frame_buffer.h"

namespace {

constexpr int kBytesPerPixel = 4;

// The float product or quotient, widened, plus one half, truncated.
int32_t roundHalfUp(float value) { return int32_t(int64_t(double(value) + 0.5)); }

// A missing image stays null, so that libyuv refuses it rather than writing near address 0.
uint8_t* pixelAt(uint8_t* base, int32_t stride, int32_t row, int32_t column) {
  if (!base) return nullptr;
  return base + int64_t(row) * stride + int64_t(column) * kBytesPerPixel;
}

void letterbox(const FrameBuffer& source, FrameBuffer& target, int32_t signedHeight) {
  const int32_t sw = source.width, sh = source.height, dw = target.width, dh = target.height;
  int32_t fitWidth = 0, fitHeight = 0;
  if (dw != 0 && dh != 0) {
    const float sourceRatio = float(sw) / float(sh);
    if (float(dw) / float(dh) - sourceRatio > 0) {
      fitHeight = dh;
      fitWidth = roundHalfUp(float(dh) * sourceRatio);
    } else {
      fitWidth = dw;
      fitHeight = roundHalfUp(float(dw) / sourceRatio);
    }
  }
  if (fitWidth == 0) fitWidth = dw;
  if (fitHeight == 0) fitHeight = dh;
  uint8_t* start = pixelAt(target.plane[0], target.stride[0], (dh - fitHeight) / 2,
                           (dw - fitWidth) / 2);
  libyuv::ARGBScale(source.plane[0], source.stride[0], sw, signedHeight, start,
                    target.stride[0], fitWidth, fitHeight, libyuv::kFilterBox);
}

void cropToFill(const FrameBuffer& source, FrameBuffer& target, bool flip) {
  const int32_t sw = source.width, sh = source.height, dw = target.width, dh = target.height;
  int32_t cropWidth = 0, cropHeight = 0;
  if (sw != 0 && sh != 0) {
    const float targetRatio = float(dw) / float(dh);
    if (float(sw) / float(sh) - targetRatio > 0) {
      cropHeight = sh;
      cropWidth = roundHalfUp(float(sh) * targetRatio);
    } else {
      cropWidth = sw;
      cropHeight = roundHalfUp(float(sw) / targetRatio);
    }
  }
  if (cropWidth == 0) cropWidth = sw;
  if (cropHeight == 0) cropHeight = sh;
  const uint8_t* start = pixelAt(source.plane[0], source.stride[0], (sh - cropHeight) / 2,
                                 (sw - cropWidth) / 2);
  libyuv::ARGBScale(start, source.stride[0], cropWidth, flip ? -cropHeight : cropHeight,
                    target.plane[0], target.stride[0], dw, dh, libyuv::kFilterBox);
}

}  // namespace

void ScaleImage32(const FrameBuffer& source, FrameBuffer& target, FrameFitMode fitMode,
                  bool flip) {
  const int32_t sw = source.width, sh = source.height, dw = target.width, dh = target.height;
  // libyuv reads the rows bottom up when given a negative height.
  const int32_t signedHeight = flip ? -sh : sh;
  if (sw == dw && sh == dh) {
    libyuv::ARGBCopy(source.plane[0], source.stride[0], target.plane[0], target.stride[0], sw,
                     signedHeight);
    return;
  }
  const bool sameShape = uint32_t(dh) * uint32_t(sw) == uint32_t(dw) * uint32_t(sh);
  if (fitMode == FrameFitMode::Stretch || sameShape) {
    libyuv::ARGBScale(source.plane[0], source.stride[0], sw, signedHeight, target.plane[0],
                      target.stride[0], dw, dh, libyuv::kFilterBox);
    return;
  }
  if (fitMode == FrameFitMode::Letterbox) {
    letterbox(source, target, signedHeight);
  } else {
    cropToFill(source, target, flip);
  }
}
