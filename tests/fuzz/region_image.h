#pragma once
// A fuzz input as the image of a frame region: the first byte picks the connected format and an
// option of the target, the rest are the region's bytes. The region is exactly as long as that,
// never shorter than the header the reader looks at, so any byte read past it is a finding.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "delivery/scale_frame.h"
#include "link/capture_frame_record.h"
#include "link/frame_record_bounds.h"

// Where the frame bytes go, so that reading them can't be optimised away.
inline volatile uint8_t g_frameChecksum = 0;

struct RegionImage {
  RegionImage(const uint8_t* data, size_t size, size_t minimumSize) {
    const uint8_t options = size ? data[0] : 0;
    static const int32_t kBitCounts[] = {32, 24, 12, 16};
    bitCount = kBitCounts[options & 3];
    flag = (options & 4) != 0;
    bytes.assign(data + std::min<size_t>(size, 1), data + size);
    if (bytes.size() < minimumSize) bytes.resize(minimumSize);
    bytes.shrink_to_fit();
  }

  // What the memory path does with a record: check it, then read every byte of its frame.
  void readFrameOf(const CaptureFrameRecord& record) const {
    const uint64_t frameBytes = scaleFrameSourceBytes(record.width, record.height, bitCount);
    if (frameRecordFault(record, bytes.size(), frameBytes)) return;
    if (record.frameKind == kTextureFrame) return;
    const uint8_t* pixels = bytes.data() + record.readBufferOffset;
    uint8_t sum = 0;
    for (uint64_t i = 0; i < frameBytes; ++i) sum ^= pixels[i];
    g_frameChecksum = sum;
  }

  std::vector<uint8_t> bytes;
  int32_t bitCount;
  bool flag;
};
