#include "link/capture_frame_record.h"

#include <cstring>

#include "link/byte_order.h"

using namespace record_offset;

void encodeFrameRecord(const CaptureFrameRecord& record, uint8_t* out) {
  std::memset(out, 0, kFrameRecordSize);
  storeLittleEndian32(out + kRecordFlag, record.recordFlag);
  storeLittleEndian32(out + kWidth, record.width);
  storeLittleEndian32(out + kHeight, record.height);
  storeLittleEndian64(out + kReadCount, record.readCount);
  storeLittleEndian64(out + kTimestampMs, record.timestampMs);
  storeLittleEndian64(out + kReadBufferOffset, record.readBufferOffset);
  storeLittleEndian64(out + kWriteBufferOffset, record.writeBufferOffset);
  storeLittleEndian32(out + kLastReaderPid, record.lastReaderPid);
  storeLittleEndian32(out + kFrameKind, record.frameKind);
  storeLittleEndian32(out + kTextureId, record.textureId);
  storeLittleEndian32(out + kAdapterIndex, record.adapterIndex);
  storeLittleEndian64(out + kKeyedMutexKey, record.keyedMutexKey);
  out[kDumpFrame] = record.dumpFrame;
  storeLittleEndian32(out + kAdapterLuidLow, record.adapterLuid.LowPart);
  storeLittleEndian32(out + kAdapterLuidHigh, uint32_t(record.adapterLuid.HighPart));
  storeLittleEndian32(out + kIs709, record.is709);
  out[kIsFullRange] = record.isFullRange;
}

CaptureFrameRecord decodeFrameRecord(const uint8_t* in) {
  CaptureFrameRecord record;
  record.recordFlag = loadLittleEndian32(in + kRecordFlag);
  record.width = loadLittleEndian32(in + kWidth);
  record.height = loadLittleEndian32(in + kHeight);
  record.readCount = loadLittleEndian64(in + kReadCount);
  record.timestampMs = loadLittleEndian64(in + kTimestampMs);
  record.readBufferOffset = loadLittleEndian64(in + kReadBufferOffset);
  record.writeBufferOffset = loadLittleEndian64(in + kWriteBufferOffset);
  record.lastReaderPid = loadLittleEndian32(in + kLastReaderPid);
  record.frameKind = loadLittleEndian32(in + kFrameKind);
  record.textureId = loadLittleEndian32(in + kTextureId);
  record.adapterIndex = loadLittleEndian32(in + kAdapterIndex);
  record.keyedMutexKey = loadLittleEndian64(in + kKeyedMutexKey);
  record.dumpFrame = in[kDumpFrame];
  record.adapterLuid.LowPart = loadLittleEndian32(in + kAdapterLuidLow);
  record.adapterLuid.HighPart = int32_t(loadLittleEndian32(in + kAdapterLuidHigh));
  record.is709 = loadLittleEndian32(in + kIs709);
  record.isFullRange = in[kIsFullRange];
  return record;
}
