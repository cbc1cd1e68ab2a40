#pragma once
// The size of the picture that a memory frame gets in a host's sample.
#include <cstdint>

struct PictureSize {
  int32_t width, height;
};

// A client's own output size `wanted` when it is a valid size for the format
// and fits inside the requested sample on both sides; the requested size otherwise. A picture
// smaller than the sample lies in it at the sample's strides, so the host never reads it
// garbled; 4:2:0 sizes are made even.
PictureSize pictureSizeInSample(PictureSize requested, PictureSize wanted, int32_t bitCount);
