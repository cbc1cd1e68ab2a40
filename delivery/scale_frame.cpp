#include "delivery/scale_frame.h"

#include <algorithm>

#include <libyuv/convert_from_argb.h>
#include <libyuv/scale.h>

#include "delivery/format_tags.h"
#include "delivery/frame_buffer.h"
#include "delivery/scale_statistics.h"
#include "diag/log.h"

namespace {

// This libyuv's ScalePlane checks nothing itself; refuse as its other operations do.
void scalePlane(const uint8_t* src, int32_t srcStride, int32_t srcWidth, int32_t srcHeight,
                uint8_t* dst, int32_t dstStride, int32_t dstWidth, int32_t dstHeight) {
  if (!src || !dst || srcWidth < 1 || srcHeight < 1 || dstWidth < 1 || dstHeight < 1) return;
  libyuv::ScalePlane(src, srcStride, srcWidth, srcHeight, dst, dstStride, dstWidth, dstHeight,
                     libyuv::kFilterBilinear);
}

void logStatistics() {
  char line[OutputStatistics::kLineSize] = {};
  if (scaleFrameStatistics().count(line)) LogPrint(1, "%s", line);
}

void scaleI420(const uint8_t* src, int32_t sw, int32_t sh, uint8_t* dst, int32_t dw,
               int32_t dh) {
  scalePlane(src, sw, sw, sh, dst, dw, dw, dh);
  const uint8_t* srcU = src + int64_t(sw) * sh;
  uint8_t* dstU = dst + int64_t(dw) * dh;
  scalePlane(srcU, sw >> 1, sw >> 1, sh >> 1, dstU, dw >> 1, dw >> 1, dh >> 1);
  const uint8_t* srcV = srcU + int64_t(sh >> 1) * (sw >> 1);
  uint8_t* dstV = dstU + int64_t(dh >> 1) * (dw >> 1);
  scalePlane(srcV, sw >> 1, sw >> 1, sh >> 1, dstV, dw >> 1, dw >> 1, dh >> 1);
}

// Simple on purpose: the interleaved chroma is scaled as plain bytes and its target height is
// the source's, so a taller target keeps its lower chroma rows. Only a shorter target gets its
// own height: the source's would run past the sample. Equal sizes, the normal case, copy exactly.
void scaleNV12(const uint8_t* src, int32_t sw, int32_t sh, uint8_t* dst, int32_t dw,
               int32_t dh) {
  scalePlane(src, sw, sw, sh, dst, dw, dw, dh);
  const int32_t chromaRows = std::min(sh >> 1, dh >> 1);
  scalePlane(src + int64_t(sw) * sh, sw, sw, sh >> 1, dst + int64_t(dw) * dh, dw, dw, chromaRows);
}

}  // namespace

void ScaleFrame(const uint8_t* src, int32_t srcWidth, int32_t srcHeight, uint8_t* dst,
                int32_t dstWidth, int32_t dstHeight, int32_t bitCount, FrameFitMode fitMode,
                FrameBuffer& scaledFrame, bool flip, uint32_t fourcc) {
  // The source is only read; the wrapper's pointer is not const because the record's isn't.
  const FrameBuffer source(const_cast<uint8_t*>(src), srcWidth, srcHeight, kTagRGB4);
  FrameBuffer target(dst, dstWidth, dstHeight, kTagRGB4);
  logStatistics();
  // An empty placeholder arrives as a null source; the sample then keeps what it held.
  if (!src || !dst) return;
  switch (bitCount) {
    case 24:
      scaledFrame.resize(dstWidth, dstHeight, kTagRGB4);
      ScaleImage32(source, scaledFrame, fitMode, flip);
      libyuv::ARGBToRGB24(scaledFrame.plane[0], scaledFrame.stride[0], dst, dstWidth * 3,
                          dstWidth, dstHeight);
      break;
    case 32:
      ScaleImage32(source, target, fitMode, flip);
      break;
    case 12:
      if (fourcc == kTagI420) {
        scaleI420(src, srcWidth, srcHeight, dst, dstWidth, dstHeight);
      } else if (fourcc == kTagNV12) {
        scaleNV12(src, srcWidth, srcHeight, dst, dstWidth, dstHeight);
      }
      break;
    default:
      break;
  }
}

uint64_t scaleFrameSourceBytes(uint32_t width, uint32_t height, int32_t bitCount) {
  const uint64_t pixels = uint64_t(width) * height;
  switch (bitCount) {
    case 24:
    case 32:
      return pixels * 4;
    case 12:
      return pixels * 3 / 2;
    default:
      return 0;
  }
}

uint64_t scaleFrameTargetBytes(int32_t width, int32_t height, int32_t bitCount) {
  if (width <= 0 || height <= 0) return 0;
  const uint64_t pixels = uint64_t(width) * uint64_t(height);
  switch (bitCount) {
    case 12:
      return pixels * 3 / 2;
    case 24:
      return pixels * 3;
    case 32:
      return pixels * 4;
    default:
      return 0;
  }
}
