#pragma once
// The mixer's half of the frame region, in the test's own process.
#include <windows.h>

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
  explicit FrameWriter(bool sealed = true, int32_t headerSize = kFrameHeaderSize) {
    writer.create(headerSize, 64, 48, sealed, GetCurrentProcessId());
  }
  // The start of the region, for a test that breaks its header.
  uint8_t* region() {
    uint32_t offset = 0;
    HANDLE mapping = nullptr;
    return writer.lockWriteBuffer(offset, mapping) - offset;
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
