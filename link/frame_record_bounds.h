#pragma once
// Limits on what a record from the frame region may ask the reader to touch. The writer is
// another process: nothing it puts in the region is trusted to lie inside the mapping.
#include <cstdint>

#include "link/capture_frame_record.h"

// Largest width and height of a frame, in pixels, whatever the region holds: the largest
// texture side, and small enough that no byte count of a frame overflows 32-bit strides.
constexpr uint32_t kMaxFrameSide = 16384;

// Why a sealed record of `sealedLength` bytes can't be deciphered from a region of
// `regionSize` bytes; null when it can.
const char* sealedRecordFault(uint64_t sealedLength, uint64_t regionSize);

// Why the frame that `record` describes can't be read from a region of `regionSize` bytes,
// when its pixels take `frameBytes` bytes from the record's buffer offset; null when it can.
// A texture frame reads no pixels from the region, so only its size is limited.
const char* frameRecordFault(const CaptureFrameRecord& record, uint64_t regionSize,
                             uint64_t frameBytes);
