#pragma once
// Fits a frame of any size to the size and pixel format of a sample.
#include <cstdint>

#include "delivery/scale_image.h"

class FrameBuffer;

// Scales `src` (srcWidth by srcHeight, 32-bit, or for bitCount 12 planar in the `fourcc`
// layout) into `dst` of dstWidth by dstHeight at `bitCount` 32, 24 or 12; any other
// bitCount writes nothing. Rows have no padding on either side. `scaledFrame` is scratch
// for the 24-bit case and only grows. `flip` turns 24- and 32-bit output upside down;
// `fitMode` and `flip` do not reach planar frames, which are stretched.
// Every call counts towards the output statistics line.
void ScaleFrame(const uint8_t* src, int32_t srcWidth, int32_t srcHeight, uint8_t* dst,
                int32_t dstWidth, int32_t dstHeight, int32_t bitCount, FrameFitMode fitMode,
                FrameBuffer& scaledFrame, bool flip, uint32_t fourcc);

// Bytes of `src` that ScaleFrame reads for a frame of `width` by `height` at `bitCount`: four a
// pixel for 24 and 32, the planar 12 bits a pixel for 12, none for any other bitCount.
uint64_t scaleFrameSourceBytes(uint32_t width, uint32_t height, int32_t bitCount);

// Bytes that ScaleFrame writes into `dst` at most for a target of `width` by `height` at
// `bitCount`; 0 for a size that is not positive or a bitCount it does not write.
uint64_t scaleFrameTargetBytes(int32_t width, int32_t height, int32_t bitCount);
