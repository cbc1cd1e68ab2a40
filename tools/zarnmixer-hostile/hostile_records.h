#pragma once
// The random publications of the hostile writer: what a broken or malicious mixer could put in
// the frame region. Pure and seeded, so that a run that upsets a host can be repeated.
#include <cstddef>
#include <cstdint>
#include <random>

#include "link/capture_frame_record.h"

enum class HostileLayout { Sealed, Plain, Noise };

struct HostilePublication {
  HostileLayout layout = HostileLayout::Sealed;
  bool wellFormed = false;
  CaptureFrameRecord record;
  // Sealed only: the header's clear fields, which a reader trusts over the record's.
  uint64_t readBufferOffset = 0;
  uint64_t writeBufferOffset = 0;
  uint64_t sealedLength = 0;
};

class HostileRecords {
 public:
  // For a region of `regionSize` bytes whose buffers hold `bufferWidth` by `bufferHeight` pixels.
  HostileRecords(uint64_t seed, uint64_t regionSize, int32_t bufferWidth, int32_t bufferHeight);

  HostilePublication next(uint32_t nowMs);
  // Random bytes, for noise over the header.
  void fill(uint8_t* bytes, size_t count);

 private:
  uint32_t side();
  uint64_t offset();
  uint64_t sealedLength();
  uint32_t frameKind();
  bool chance(int percent);
  uint64_t pick(std::initializer_list<uint64_t> values);

  std::mt19937_64 m_random;
  uint64_t m_regionSize;
  int32_t m_bufferWidth;
  int32_t m_bufferHeight;
};
