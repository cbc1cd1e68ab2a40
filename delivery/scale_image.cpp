#include "delivery/scale_image.h"

#include <algorithm>

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

// Margins take the nearest edge pixel of the picture: the stored cards are gradients, which
// this extends without a seam.
void fillMargins(FrameBuffer& target, const ImageArea& fit) {
  if (!target.plane[0] || fit.width < 1 || fit.height < 1) return;
  uint32_t* const rows = reinterpret_cast<uint32_t*>(target.plane[0]);
  const int32_t pitch = target.stride[0] / kBytesPerPixel;
  for (int32_t y = fit.y; y < fit.y + fit.height; ++y) {
    uint32_t* row = rows + int64_t(y) * pitch;
    std::fill(row, row + fit.x, row[fit.x]);
    std::fill(row + fit.x + fit.width, row + target.width, row[fit.x + fit.width - 1]);
  }
  for (int32_t y = 0; y < target.height; ++y) {
    const int32_t from = std::clamp(y, fit.y, fit.y + fit.height - 1);
    if (from != y) {
      std::copy_n(rows + int64_t(from) * pitch, target.width, rows + int64_t(y) * pitch);
    }
  }
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
  const ImageArea fit = {(dw - fitWidth) / 2, (dh - fitHeight) / 2, fitWidth, fitHeight};
  uint8_t* start = pixelAt(target.plane[0], target.stride[0], fit.y, fit.x);
  if (libyuv::ARGBScale(source.plane[0], source.stride[0], sw, signedHeight, start,
                        target.stride[0], fitWidth, fitHeight, libyuv::kFilterBox) == 0) {
    fillMargins(target, fit);
  }
}

void cropToFill(const FrameBuffer& source, FrameBuffer& target, bool flip) {
  const ImageArea crop = cropToShape(source.width, source.height, target.width, target.height);
  const uint8_t* start = pixelAt(source.plane[0], source.stride[0], crop.y, crop.x);
  libyuv::ARGBScale(start, source.stride[0], crop.width, flip ? -crop.height : crop.height,
                    target.plane[0], target.stride[0], target.width, target.height,
                    libyuv::kFilterBox);
}

}  // namespace

ImageArea cropToShape(int32_t sw, int32_t sh, int32_t dw, int32_t dh) {
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
  return {(sw - cropWidth) / 2, (sh - cropHeight) / 2, cropWidth, cropHeight};
}

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
