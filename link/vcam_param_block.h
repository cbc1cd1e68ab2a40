#pragma once
// VCamParamBlock: eight 32-bit fields at the start of the parameter region, each stored
// big-endian, unlike the frame record.
#include <cstddef>
#include <cstdint>

constexpr uint32_t kParamRegionSize = 231000;
constexpr size_t kParamBlockSize = 32;

enum VCamParamField : size_t {
  kHeightOut = 0,
  kWidthOut = 4,
  kTimePerFrame = 8,  // 100 ns units, not a rate
  kDeviceOpeningProcessId = 16,
  kFourccOut = 20,
  kEnableVCamConnect = 24,  // exactly 1: hosts may connect
  kFilterVersion = 28,
};

uint32_t readParamField(const uint8_t* block, VCamParamField field);
void writeParamField(uint8_t* block, VCamParamField field, uint32_t value);

// The block of a freshly created region, connections enabled. `fps` must be positive.
void initParamBlock(uint8_t* block, int32_t width, int32_t height, int32_t fps, uint32_t fourcc);

// What the hosts ask for, as the mixer reads it.
struct VideoOutRequest {
  int32_t width;
  int32_t height;
  int32_t fps;
  uint32_t fourcc;
};

// Null block (no region): 1280 by 720 at 24 fps, fourcc 0. A period below 1 reads as 24 fps; a
// width or height below 1 replaces both by 1280 by 720.
VideoOutRequest decodeVideoOutRequest(const uint8_t* block);
