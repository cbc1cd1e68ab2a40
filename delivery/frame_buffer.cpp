#include "delivery/frame_buffer.h"

#include <malloc.h>

#include <algorithm>
#include <cstring>

#include "delivery/format_tags.h"

namespace {
constexpr size_t kAlignment = 16;
}

FrameBuffer::FrameBuffer(uint8_t* foreign, int32_t width, int32_t height, uint32_t fourcc) {
  wrap(foreign, width, height, fourcc);
}

void FrameBuffer::wrap(uint8_t* foreign, int32_t newWidth, int32_t newHeight, uint32_t newFourcc) {
  if (!external) _aligned_free(data);
  external = true;
  data = foreign;
  capacity = imageSizeForTag(newFourcc, newWidth, newHeight);
  usedLength = 0;
  width = newWidth;
  height = newHeight;
  fourcc = newFourcc;
  layOutPlanes(fourcc, data, width, height, plane, stride);
  valid = 1;
}

FrameBuffer::~FrameBuffer() {
  if (!external) _aligned_free(data);
}

void FrameBuffer::reserve(uint32_t bytes) {
  uint8_t* grown;
  if (external) {
    grown = static_cast<uint8_t*>(_aligned_malloc(bytes, kAlignment));
    if (grown && data) memcpy(grown, data, std::min(usedLength, bytes));
  } else {
    grown = static_cast<uint8_t*>(_aligned_realloc(data, bytes, kAlignment));
    // A failed reallocation keeps the old block, which the record is about to forget.
    if (!grown && bytes) _aligned_free(data);
  }
  external = false;
  data = grown;
  if (grown) {
    capacity = bytes;
  } else {
    capacity = 0;
    usedLength = 0;
  }
}

void FrameBuffer::resize(int32_t newWidth, int32_t newHeight, uint32_t newFourcc) {
  if (newFourcc == 0) newFourcc = fourcc;
  const uint32_t bytes = imageSizeForTag(newFourcc, newWidth, newHeight);
  if (capacity < bytes) reserve(bytes);
  width = newWidth;
  height = newHeight;
  fourcc = newFourcc;
  layOutPlanes(fourcc, data, width, height, plane, stride);
  valid = 1;
}
