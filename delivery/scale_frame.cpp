#include "delivery/scale_frame.h"

#include <libyuv/convert_from_argb.h>
#include <libyuv/scale.h>
#include <libyuv/scale_uv.h>

#include "delivery/format_tags.h"
#include "delivery/frame_buffer.h"
#include "delivery/scale_statistics.h"
#include "diag/log.h"

namespace {

void logStatistics() {
  char line[OutputStatistics::kLineSize] = {};
  if (scaleFrameStatistics().count(line)) LogPrint(1, "%s", line);
}

uint32_t sampleTag(int32_t bitCount, uint32_t fourcc) {
  if (bitCount == 24) return kTagRGB3;
  if (bitCount == 32) return kTagRGB4;
  if (bitCount == 12 && (fourcc == kTagI420 || fourcc == kTagNV12)) return fourcc;
  return 0;
}

int32_t half(int32_t size) { return (size + 1) / 2; }

// The source's crop, even-aligned so that its chroma starts at a whole sample, scaled plane by
// plane; the interleaved chroma of NV12 is scaled as pairs, so U and V never blend. (This
// libyuv's pair filter weighs by 127ths when it enlarges: a code may be lost.)
void scalePlanar(const uint8_t* src, int32_t sw, int32_t sh, const SampleImage& sample,
                 uint32_t tag, int32_t dw, int32_t dh, FrameFitMode fitMode) {
  ImageArea crop = {0, 0, sw, sh};
  if (fitMode != FrameFitMode::Stretch) crop = cropToShape(sw, sh, dw, dh);
  crop.x &= ~1;
  crop.y &= ~1;
  const PlaneLayout from = planeLayout(tag, sw, sh);
  const PlaneLayout into = planeLayout(tag, sample.width, sample.height);
  libyuv::ScalePlane(src + crop.y * int64_t(sw) + crop.x, from.stride[0], crop.width,
                     crop.height, sample.data, into.stride[0], dw, dh, libyuv::kFilterBilinear);
  const int64_t chromaX = crop.x / 2, chromaY = crop.y / 2;
  if (tag == kTagNV12) {
    libyuv::UVScale(src + from.offset[1] + chromaY * from.stride[1] + chromaX * 2, from.stride[1],
                    half(crop.width), half(crop.height), sample.data + into.offset[1],
                    into.stride[1], half(dw), half(dh), libyuv::kFilterBilinear);
    return;
  }
  for (int i = 1; i < 3; ++i) {
    libyuv::ScalePlane(src + from.offset[i] + chromaY * from.stride[i] + chromaX, from.stride[i],
                       half(crop.width), half(crop.height), sample.data + into.offset[i],
                       into.stride[i], half(dw), half(dh), libyuv::kFilterBilinear);
  }
}

}  // namespace

void ScaleFrame(const uint8_t* src, int32_t srcWidth, int32_t srcHeight, const SampleImage& sample,
                int32_t pictureWidth, int32_t pictureHeight, FrameFitMode fitMode,
                FrameBuffer& scaledFrame, bool flip) {
  logStatistics();
  const uint32_t tag = sampleTag(sample.bitCount, sample.fourcc);
  // An empty placeholder arrives as a null source; the sample then keeps what it held. This
  // libyuv's ScalePlane checks nothing itself, so sizes are checked here for every format.
  if (!src || !sample.data || tag == 0 || srcWidth < 1 || srcHeight < 1) return;
  if (pictureWidth < 1 || pictureHeight < 1 || pictureWidth > sample.width ||
      pictureHeight > sample.height) {
    return;
  }
  if (tag == kTagI420 || tag == kTagNV12) {
    scalePlanar(src, srcWidth, srcHeight, sample, tag, pictureWidth, pictureHeight, fitMode);
    return;
  }
  // The source is only read; the wrapper's pointer is not const because the record's isn't.
  const FrameBuffer source(const_cast<uint8_t*>(src), srcWidth, srcHeight, kTagRGB4);
  const int32_t sampleStride = planeLayout(tag, sample.width, sample.height).stride[0];
  if (tag == kTagRGB3) {
    scaledFrame.resize(pictureWidth, pictureHeight, kTagRGB4);
    ScaleImage32(source, scaledFrame, fitMode, flip);
    libyuv::ARGBToRGB24(scaledFrame.plane[0], scaledFrame.stride[0], sample.data, sampleStride,
                        pictureWidth, pictureHeight);
    return;
  }
  FrameBuffer target(sample.data, pictureWidth, pictureHeight, kTagRGB4);
  target.stride[0] = sampleStride;
  ScaleImage32(source, target, fitMode, flip);
}

uint64_t scaleFrameSourceBytes(uint32_t width, uint32_t height, int32_t bitCount) {
  if (bitCount == 24 || bitCount == 32) return uint64_t(width) * height * 4;
  return bitCount == 12 ? planeLayout(kTagI420, int32_t(width), int32_t(height)).bytes : 0;
}

uint64_t scaleFrameTargetBytes(int32_t width, int32_t height, int32_t bitCount) {
  if (width <= 0 || height <= 0) return 0;
  return planeLayout(sampleTag(bitCount, kTagI420), width, height).bytes;
}
