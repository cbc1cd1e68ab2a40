// ScaleFrame as the memory path calls it: a source of any size up to 4096 on a side,
// buffers of exactly the sizes the stream gives them, and a target no larger in area than the
// negotiated one. No byte may be read or written outside them.
#include <cstdint>
#include <memory>

#include "delivery/format_tags.h"
#include "delivery/frame_buffer.h"
#include "delivery/output_size.h"
#include "delivery/scale_frame.h"

namespace {

constexpr uint32_t kLargestSide = 4096;

// Takes bytes from the front of the input; zeros once it runs out.
struct InputReader {
  uint32_t take(int bytes) {
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) value = value << 8 | (at < size ? data[at++] : 0);
    return value;
  }

  // 1 to 4096, small sides far more often than large ones, since they run faster.
  int32_t side() {
    static const uint32_t kLimits[] = {16, 256, 1024, kLargestSide};
    const uint32_t limit = kLimits[take(1) & 3];
    return int32_t(1 + take(2) % limit);
  }

  const uint8_t* data;
  size_t size;
  size_t at = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  InputReader input{data, size};
  static const int32_t kBitCounts[] = {32, 24, 12, 16};
  static const uint32_t kFourccs[] = {kTagI420, kTagNV12, kTagRGBA, kTagYV12};
  const uint32_t options = input.take(1);
  const int32_t bitCount = kBitCounts[options & 3];
  const uint32_t fourcc = kFourccs[(options >> 2) & 3];
  const FrameFitMode fitMode = FrameFitMode((options >> 4) % 3);
  const bool flip = (options & 0x40) != 0;

  const int32_t srcWidth = input.side(), srcHeight = input.side();
  const int32_t width = input.side(), height = input.side();
  int32_t dstWidth = width, dstHeight = height;
  if (options & 0x80) {
    // A client's own size, as the memory path fits it to the negotiated one.
    const PictureSize wanted = {int32_t(input.take(2) % (kLargestSide + 1)),
                                int32_t(input.take(2) % (kLargestSide + 1))};
    const PictureSize picture = pictureSizeInSample({width, height}, wanted, bitCount);
    dstWidth = picture.width;
    dstHeight = picture.height;
  }

  const uint64_t sourceBytes = scaleFrameSourceBytes(srcWidth, srcHeight, bitCount);
  std::unique_ptr<uint8_t[]> source(new uint8_t[sourceBytes ? sourceBytes : 1]);
  // The negotiated sample size, by the rule of the stream's samples.
  std::unique_ptr<uint8_t[]> sample(new uint8_t[scaleFrameTargetBytes(width, height, bitCount)]);
  FrameBuffer scratch;
  const SampleImage into = {sample.get(), width, height, bitCount, fourcc};
  ScaleFrame(source.get(), srcWidth, srcHeight, into, dstWidth, dstHeight, fitMode, scratch, flip);
  return 0;
}
