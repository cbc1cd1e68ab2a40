#include "delivery/output_size.h"

PictureSize pictureSizeInSample(PictureSize requested, PictureSize wanted, int32_t bitCount) {
  if (bitCount == 12) {
    wanted.width &= ~1;
    wanted.height &= ~1;
  }
  if (wanted.width < 1 || wanted.height < 1 || wanted.width > requested.width ||
      wanted.height > requested.height) {
    return requested;
  }
  return wanted;
}
