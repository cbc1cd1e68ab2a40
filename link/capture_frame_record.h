#pragma once
// The 96-byte little-endian description of one frame that the mixer publishes.
#include <cstddef>
#include <cstdint>

struct CaptureFrameRecord {
  uint32_t recordFlag = 0;  // non-zero: the mixer uses video enhancements
  uint32_t width = 0;       // 0: no frame
  uint32_t height = 0;      // 0: no frame
  uint64_t readCount = 0;
  uint64_t timestampMs = 0;  // timeGetTime clock
  uint64_t readBufferOffset = 0;
  uint64_t writeBufferOffset = 0;
  uint32_t lastReaderPid = 0;
  uint32_t frameKind = 0;  // exactly kTextureFrame: the frame lies in a shared texture
  uint32_t textureId = 0;
  uint32_t adapterIndex = 0;
  uint64_t keyedMutexKey = 0;
  uint8_t dumpFrame = 0;
  struct {
    uint32_t LowPart = 0;
    int32_t HighPart = 0;
  } adapterLuid;
  uint32_t is709 = 0;
  uint8_t isFullRange = 0;
};

constexpr uint32_t kTextureFrame = 1;
constexpr size_t kFrameRecordSize = 96;

// Byte offsets of the fields within the encoded record.
namespace record_offset {
constexpr size_t kRecordFlag = 0x00;
constexpr size_t kWidth = 0x04;
constexpr size_t kHeight = 0x08;
constexpr size_t kReadCount = 0x10;
constexpr size_t kTimestampMs = 0x18;
constexpr size_t kReadBufferOffset = 0x20;
constexpr size_t kWriteBufferOffset = 0x28;
constexpr size_t kLastReaderPid = 0x30;
constexpr size_t kFrameKind = 0x34;
constexpr size_t kTextureId = 0x38;
constexpr size_t kAdapterIndex = 0x3C;
constexpr size_t kKeyedMutexKey = 0x40;
constexpr size_t kDumpFrame = 0x48;
constexpr size_t kAdapterLuidLow = 0x4C;
constexpr size_t kAdapterLuidHigh = 0x50;
constexpr size_t kIs709 = 0x54;
constexpr size_t kIsFullRange = 0x58;
}  // namespace record_offset

// Writes all 96 bytes; the unused ones become zero.
void encodeFrameRecord(const CaptureFrameRecord& record, uint8_t* out);
CaptureFrameRecord decodeFrameRecord(const uint8_t* in);
