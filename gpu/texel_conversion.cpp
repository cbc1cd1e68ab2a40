#include "gpu/texel_conversion.h"

#include <algorithm>
#include <cstddef>

#include "delivery/format_tags.h"
#include "delivery/frame_buffer.h"
#include "gpu/colour_matrix.h"

namespace {

// One code from sums of `samples` texels each of red, green and blue, rounded to nearest.
uint8_t code(const int32_t (&row)[4], int32_t red, int32_t green, int32_t blue,
             int32_t samples) {
  const int32_t scale = 1000 * samples;
  const int32_t value = row[0] * red + row[1] * green + row[2] * blue + row[3] * scale + scale / 2;
  // Truncation sends every value below 0 to 0, as the clamp would.
  return uint8_t(std::clamp(value / scale, 0, 255));
}

}  // namespace

void texelsToPlanar(const uint8_t* texels, int32_t pitch, bool blueFirst, bool is709,
                    bool isFullRange, FrameBuffer& target) {
  const ColourMatrix& matrix = kColourMatrices[is709][isFullRange];
  const int red = blueFirst ? 2 : 0;
  const int blue = 2 - red;
  const int32_t width = target.width;
  const int32_t height = target.height;
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* texel = texels + ptrdiff_t(y) * pitch;
    uint8_t* luma = target.plane[0] + ptrdiff_t(y) * target.stride[0];
    for (int32_t x = 0; x < width; ++x, texel += 4) {
      luma[x] = code(matrix.y, texel[red], texel[1], texel[blue], 1);
    }
  }
  const bool interleaved = target.fourcc == kTagNV12;
  const int step = interleaved ? 2 : 1;
  for (int32_t y = 0; y < height / 2; ++y) {
    const uint8_t* top = texels + ptrdiff_t(2 * y) * pitch;
    const uint8_t* bottom = top + pitch;
    uint8_t* u = target.plane[1] + ptrdiff_t(y) * target.stride[1];
    uint8_t* v = interleaved ? u + 1 : target.plane[2] + ptrdiff_t(y) * target.stride[2];
    for (int32_t x = 0; x < width / 2; ++x, top += 8, bottom += 8) {
      int32_t sum[3];
      for (int c = 0; c < 3; ++c) sum[c] = top[c] + top[4 + c] + bottom[c] + bottom[4 + c];
      u[x * step] = code(matrix.u, sum[red], sum[1], sum[blue], 4);
      v[x * step] = code(matrix.v, sum[red], sum[1], sum[blue], 4);
    }
  }
}

void limitRgbRange(FrameBuffer& target) {
  const int step = target.fourcc == kTagRGB3 ? 3 : 4;
  for (int32_t y = 0; y < target.height; ++y) {
    uint8_t* pixel = target.plane[0] + ptrdiff_t(y) * target.stride[0];
    for (int32_t x = 0; x < target.width; ++x, pixel += step) {
      // No value of 219 * c / 255 ends in one half, so this rounds as the shader does.
      for (int c = 0; c < 3; ++c) pixel[c] = uint8_t((219 * pixel[c] + 16 * 255 + 127) / 255);
    }
  }
}
