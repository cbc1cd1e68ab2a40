#pragma once
// The two header layouts of the frame region and the steps that read and publish a record in
// them. Works on the bytes of a mapped view; locking and mapping are the caller's.
#include <cstddef>
#include <cstdint>

#include "link/capture_frame_record.h"

class FrameCipher;

// The default region holds two buffers for a 3840 by 2160 frame of 4 bytes a pixel.
constexpr int32_t kFrameHeaderSize = 1024;
constexpr int32_t kDefaultFrameWidth = 3840;
constexpr int32_t kDefaultFrameHeight = 2160;
constexpr uint32_t kDefaultFrameRegionSize = 66356224;

// Byte offsets of the sealed header's clear fields.
namespace sealed_offset {
constexpr size_t kReadCount = 0x00;
constexpr size_t kReadBufferOffset = 0x08;
constexpr size_t kWriteBufferOffset = 0x10;
constexpr size_t kLastReaderPid = 0x18;
constexpr size_t kCreatorValue = 0x1C;
constexpr size_t kSealedLength = 0x20;
constexpr size_t kSealedRecord = 0x28;
}  // namespace sealed_offset

// headerSize + width * height * 8 in wrapping 32-bit signed arithmetic, as the mixer computes it.
// A result that is not above 0 means no region.
int32_t frameRegionSize(int32_t headerSize, int32_t width, int32_t height);

// Lay out a fresh region: the second buffer is the complete one, the first is filled next.
void layOutPlainHeader(uint8_t* region, int32_t headerSize, int32_t width, int32_t height);
void layOutSealedHeader(uint8_t* region, int32_t headerSize, int32_t width, int32_t height,
                        uint32_t creatorValue);

// Offset of the buffer that the writer fills next.
uint64_t writeBufferOffset(const uint8_t* region, bool sealed);

// Copies the clear record; true when it describes a frame (width and height not 0).
bool readPlainRecord(const uint8_t* region, CaptureFrameRecord& record);
// The count rises when a plain read ends, not when it starts.
void countPlainRead(uint8_t* region, uint32_t readerPid);

uint64_t sealedLength(const uint8_t* region);
// Deciphers all sealedLength bytes and takes the first 96. For a frame, counts the read for
// `readerPid` and gives the record the header's counters and offsets. A length that the cipher
// would take but that reaches past the header area or the region's `regionSize` bytes gives no
// frame, and `fault` says why (else it is null). Cipher errors propagate.
bool readSealedRecord(uint8_t* region, uint64_t regionSize, const FrameCipher& cipher,
                      uint32_t readerPid, CaptureFrameRecord& record, const char*& fault);

// Publish `record`; `swap` turns the buffer just filled into the complete one. The caller's
// record gets the reader counters back (and, sealed, the offsets after the swap).
void publishPlainRecord(uint8_t* region, CaptureFrameRecord& record, bool swap);
void publishSealedRecord(uint8_t* region, const FrameCipher& cipher, CaptureFrameRecord& record,
                         bool swap);
