#include "link/frame_record_bounds.h"

#include "link/frame_region_layout.h"

const char* sealedRecordFault(uint64_t sealedLength, uint64_t regionSize) {
  if (sealedLength > uint64_t(kFrameHeaderSize)) return "sealedLength above header area";
  if (sealed_offset::kSealedRecord + sealedLength > regionSize) return "sealed record past region";
  return nullptr;
}

const char* frameRecordFault(const CaptureFrameRecord& record, uint64_t regionSize,
                             uint64_t frameBytes) {
  if (record.width > kMaxFrameSide) return "width above 16384";
  if (record.height > kMaxFrameSide) return "height above 16384";
  if (record.frameKind == kTextureFrame) return nullptr;
  // Written so that no sum can wrap, whatever the offset holds.
  if (record.readBufferOffset > regionSize || frameBytes > regionSize - record.readBufferOffset) {
    return "offset+bytes past region";
  }
  return nullptr;
}
