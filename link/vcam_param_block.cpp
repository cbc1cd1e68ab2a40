#include "link/vcam_param_block.h"

#include <cstring>

#include "link/byte_order.h"

namespace {

constexpr int32_t kHundredNsPerSecond = 10000000;
constexpr int32_t kFallbackFps = 24;
constexpr int32_t kFallbackWidth = 1280;
constexpr int32_t kFallbackHeight = 720;

}  // namespace

uint32_t readParamField(const uint8_t* block, VCamParamField field) {
  return loadBigEndian32(block + field);
}

void writeParamField(uint8_t* block, VCamParamField field, uint32_t value) {
  storeBigEndian32(block + field, value);
}

void initParamBlock(uint8_t* block, int32_t width, int32_t height, int32_t fps, uint32_t fourcc) {
  std::memset(block, 0, kParamBlockSize);
  writeParamField(block, kHeightOut, uint32_t(height));
  writeParamField(block, kWidthOut, uint32_t(width));
  writeParamField(block, kTimePerFrame, uint32_t(kHundredNsPerSecond / fps));
  writeParamField(block, kFourccOut, fourcc);
  writeParamField(block, kEnableVCamConnect, 1);
}

VideoOutRequest decodeVideoOutRequest(const uint8_t* block) {
  if (!block) return {kFallbackWidth, kFallbackHeight, kFallbackFps, 0};
  VideoOutRequest request;
  request.width = int32_t(readParamField(block, kWidthOut));
  request.height = int32_t(readParamField(block, kHeightOut));
  request.fourcc = readParamField(block, kFourccOut);
  const int32_t period = int32_t(readParamField(block, kTimePerFrame));
  request.fps = period >= 1 ? kHundredNsPerSecond / period : kFallbackFps;
  if (request.width < 1 || request.height < 1) {
    request.width = kFallbackWidth;
    request.height = kFallbackHeight;
  }
  return request;
}
