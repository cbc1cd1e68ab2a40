#pragma once
// Fits a frame of any size to the size and pixel format of a sample.
#include <cstdint>

#include "delivery/scale_image.h"

class FrameBuffer;

// A host's sample: its negotiated size fixes the row strides and plane offsets, whatever the
// size of the picture put into it. 24-bit rows are padded to 4 bytes.
struct SampleImage {
  uint8_t* data;
  int32_t width, height;
  // 32, 24, or 12 with `fourcc` "I420" or "NV12"; nothing else is written.
  int32_t bitCount;
  uint32_t fourcc;
};

// Scales `src` (srcWidth by srcHeight, 32-bit without padding, or for 12 bits planar in the
// sample's layout) to a picture of pictureWidth by pictureHeight at the start of each of the
// sample's planes; a picture larger than the sample on either side writes nothing. `flip`
// turns 24- and 32-bit output upside down. Planar frames are cropped like packed ones (any mode
// but Stretch crops them). `scaledFrame` is scratch and only grows. Every call counts towards
// the output statistics line.
void ScaleFrame(const uint8_t* src, int32_t srcWidth, int32_t srcHeight, const SampleImage& sample,
                int32_t pictureWidth, int32_t pictureHeight, FrameFitMode fitMode,
                FrameBuffer& scaledFrame, bool flip);

// ScaleFrame into a sample that is exactly the picture's size.
inline void ScaleFrame(const uint8_t* src, int32_t srcWidth, int32_t srcHeight, uint8_t* dst,
                       int32_t dstWidth, int32_t dstHeight, int32_t bitCount,
                       FrameFitMode fitMode, FrameBuffer& scaledFrame, bool flip,
                       uint32_t fourcc) {
  ScaleFrame(src, srcWidth, srcHeight, SampleImage{dst, dstWidth, dstHeight, bitCount, fourcc},
             dstWidth, dstHeight, fitMode, scaledFrame, flip);
}

// Bytes of `src` that ScaleFrame reads for a frame of `width` by `height` at `bitCount`: four a
// pixel for 24 and 32, the planar layout for 12, none for any other bitCount.
uint64_t scaleFrameSourceBytes(uint32_t width, uint32_t height, int32_t bitCount);

// Bytes of a sample of `width` by `height` at `bitCount`; 0 for a size that is not positive or
// a bitCount ScaleFrame does not write.
uint64_t scaleFrameTargetBytes(int32_t width, int32_t height, int32_t bitCount);
