#pragma once
// How the mixer lays a frame out for the format that the hosts asked for. The hosts pass rows on
// in the order in which they lie, so the layout decides which way up the picture arrives:
//   "I420", "NV12": planar 4:2:0, top row first, the chroma planes at half size (rounded up);
//   every other code (0, "RGB3", "RGB4"): 32-bit blue-first, bottom row first, as RGB media
//   types are stored.
#include <cstdint>

constexpr uint32_t kFourccI420 = 0x30323449;  // "I420"
constexpr uint32_t kFourccNV12 = 0x3231564E;  // "NV12"

// Bytes that a `width` by `height` frame takes for `fourcc`.
int64_t frameLayoutBytes(uint32_t fourcc, int width, int height);

// Converts a top-row-first 32-bit picture (rows without padding) into the layout for `fourcc`.
void writeFrameLayout(const uint8_t* picture, int width, int height, uint32_t fourcc,
                      uint8_t* frame);
