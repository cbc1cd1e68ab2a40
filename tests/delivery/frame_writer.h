#pragma once
// The mixer's half of the frame region, in the test's own process.
#include <windows.h>

#include <algorithm>
#include <vector>

#include "link/capture_share_memory_mgr.h"
#include "link/frame_region_layout.h"
#include "link/test_pattern.h"

// A record of a `width` by `height` frame; a texture frame when it names a texture.
inline CaptureFrameRecord frameRecord(uint32_t width, uint32_t height, uint64_t timestampMs,
                                      uint32_t textureId = 0) {
  CaptureFrameRecord record;
  record.width = width;
  record.height = height;
  record.timestampMs = timestampMs;
  record.frameKind = textureId ? kTextureFrame : 0;
  record.textureId = textureId;
  return record;
}

struct FrameWriter {
  // Buffers big enough for 32-bit frames of `width` by `height`.
  explicit FrameWriter(bool sealed = true, int32_t headerSize = kFrameHeaderSize,
                       int32_t width = 64, int32_t height = 48) {
    writer.create(headerSize, width, height, sealed, GetCurrentProcessId());
  }
  // The start of the region, for a test that breaks its header.
  uint8_t* region() {
    uint32_t offset = 0;
    HANDLE mapping = nullptr;
    return writer.lockWriteBuffer(offset, mapping) - offset;
  }
  // Publishes `bytes` as the pixels of `record`'s frame.
  void publish(CaptureFrameRecord record, const std::vector<uint8_t>& bytes) {
    uint32_t offset = 0;
    HANDLE mapping = nullptr;
    std::copy(bytes.begin(), bytes.end(), writer.lockWriteBuffer(offset, mapping));
    writer.unLockWriteBuffer(record, true);
  }
  void publish(CaptureFrameRecord record) {
    if (record.frameKind != kTextureFrame) {
      uint32_t offset = 0;
      HANDLE mapping = nullptr;
      renderTestPattern(writer.lockWriteBuffer(offset, mapping), record.width, record.height,
                        {1, uint32_t(record.timestampMs)});
    }
    writer.unLockWriteBuffer(record, true);
  }

  CaptureShareMemoryMgr writer{L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY"};
};
