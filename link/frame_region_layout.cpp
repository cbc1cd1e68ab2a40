#include "link/frame_region_layout.h"

#include <cstring>

#include "link/byte_order.h"
#include "link/frame_cipher.h"
#include "link/frame_record_bounds.h"

namespace {

int32_t wrapping32(int64_t value) { return int32_t(uint32_t(uint64_t(value))); }

int32_t bufferBytes(int32_t width, int32_t height) {
  return wrapping32(int64_t(wrapping32(int64_t(width) * height)) * 4);
}

uint64_t asOffset(int32_t value) { return uint64_t(int64_t(value)); }

void swap64(uint8_t* a, uint8_t* b) {
  const uint64_t first = loadLittleEndian64(a);
  storeLittleEndian64(a, loadLittleEndian64(b));
  storeLittleEndian64(b, first);
}

}  // namespace

int32_t frameRegionSize(int32_t headerSize, int32_t width, int32_t height) {
  return wrapping32(int64_t(headerSize) + int64_t(bufferBytes(width, height)) * 2);
}

void layOutPlainHeader(uint8_t* region, int32_t headerSize, int32_t width, int32_t height) {
  std::memset(region, 0, kFrameRecordSize);
  storeLittleEndian64(region + record_offset::kWriteBufferOffset, asOffset(headerSize));
  storeLittleEndian64(region + record_offset::kReadBufferOffset,
                      asOffset(wrapping32(int64_t(headerSize) + bufferBytes(width, height))));
}

void layOutSealedHeader(uint8_t* region, int32_t headerSize, int32_t width, int32_t height,
                        uint32_t creatorValue) {
  using namespace sealed_offset;
  storeLittleEndian64(region + kReadCount, 0);
  storeLittleEndian32(region + kLastReaderPid, 0);
  storeLittleEndian64(region + kSealedLength, 0);
  storeLittleEndian64(region + kSealedRecord, 0);
  storeLittleEndian64(region + kReadBufferOffset,
                      asOffset(wrapping32(int64_t(headerSize) + bufferBytes(width, height))));
  storeLittleEndian64(region + kWriteBufferOffset, asOffset(headerSize));
  storeLittleEndian32(region + kCreatorValue, creatorValue);
}

uint64_t writeBufferOffset(const uint8_t* region, bool sealed) {
  return loadLittleEndian64(region + (sealed ? sealed_offset::kWriteBufferOffset
                                             : record_offset::kWriteBufferOffset));
}

bool readPlainRecord(const uint8_t* region, CaptureFrameRecord& record) {
  record = decodeFrameRecord(region);
  return record.width != 0 && record.height != 0;
}

void countPlainRead(uint8_t* region, uint32_t readerPid) {
  uint8_t* count = region + record_offset::kReadCount;
  storeLittleEndian64(count, loadLittleEndian64(count) + 1);
  storeLittleEndian32(region + record_offset::kLastReaderPid, readerPid);
}

uint64_t sealedLength(const uint8_t* region) {
  return loadLittleEndian64(region + sealed_offset::kSealedLength);
}

bool readSealedRecord(uint8_t* region, uint64_t regionSize, const FrameCipher& cipher,
                      uint32_t readerPid, CaptureFrameRecord& record, const char*& fault) {
  using namespace sealed_offset;
  const uint64_t length = sealedLength(region);
  // A length the cipher refuses still goes to it: its error, raised before a byte is read or
  // written, is how a plain region shows itself to a sealed reader.
  fault = length % FrameCipher::kBlockSize == 0 ? sealedRecordFault(length, regionSize) : nullptr;
  if (fault) return false;
  // Zeros behind a short sealed length, so the record never takes bytes from past it.
  uint8_t scratch[kFrameHeaderSize] = {};
  cipher.decipher(region + kSealedRecord, scratch, length, FrameCipher::CBC);
  record = decodeFrameRecord(scratch);
  if (record.width == 0 || record.height == 0) return false;

  storeLittleEndian64(region + kReadCount, loadLittleEndian64(region + kReadCount) + 1);
  storeLittleEndian32(region + kLastReaderPid, readerPid);
  record.readCount = loadLittleEndian64(region + kReadCount);
  record.lastReaderPid = loadLittleEndian32(region + kLastReaderPid);
  record.writeBufferOffset = loadLittleEndian64(region + kWriteBufferOffset);
  record.readBufferOffset = loadLittleEndian64(region + kReadBufferOffset);
  return true;
}

void publishPlainRecord(uint8_t* region, CaptureFrameRecord& record, bool swap) {
  using namespace record_offset;
  storeLittleEndian32(region + kFrameKind, record.frameKind);
  storeLittleEndian32(region + kRecordFlag, record.recordFlag);
  storeLittleEndian32(region + kWidth, record.width);
  storeLittleEndian32(region + kHeight, record.height);
  storeLittleEndian64(region + kTimestampMs, record.timestampMs);
  storeLittleEndian32(region + kTextureId, record.textureId);
  storeLittleEndian32(region + kAdapterIndex, record.adapterIndex);
  storeLittleEndian64(region + kKeyedMutexKey, record.keyedMutexKey);
  region[kDumpFrame] = record.dumpFrame;
  storeLittleEndian32(region + kAdapterLuidLow, record.adapterLuid.LowPart);
  storeLittleEndian32(region + kAdapterLuidHigh, uint32_t(record.adapterLuid.HighPart));
  record.readCount = loadLittleEndian64(region + kReadCount);
  record.lastReaderPid = loadLittleEndian32(region + kLastReaderPid);
  if (swap) swap64(region + kReadBufferOffset, region + kWriteBufferOffset);
}

void publishSealedRecord(uint8_t* region, const FrameCipher& cipher, CaptureFrameRecord& record,
                         bool swap) {
  using namespace sealed_offset;
  uint8_t clear[kFrameRecordSize];
  encodeFrameRecord(record, clear);
  cipher.encipher(clear, region + kSealedRecord, kFrameRecordSize, FrameCipher::CBC);
  storeLittleEndian64(region + kSealedLength, kFrameRecordSize);
  if (swap) swap64(region + kReadBufferOffset, region + kWriteBufferOffset);
  record.readCount = loadLittleEndian64(region + kReadCount);
  record.lastReaderPid = loadLittleEndian32(region + kLastReaderPid);
  record.writeBufferOffset = loadLittleEndian64(region + kWriteBufferOffset);
  record.readBufferOffset = loadLittleEndian64(region + kReadBufferOffset);
}
