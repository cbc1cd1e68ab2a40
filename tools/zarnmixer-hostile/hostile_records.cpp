#include "tools/zarnmixer-hostile/hostile_records.h"

#include <algorithm>

#include "link/frame_region_layout.h"

HostileRecords::HostileRecords(uint64_t seed, uint64_t regionSize, int32_t bufferWidth,
                               int32_t bufferHeight)
    : m_random(seed), m_regionSize(regionSize), m_bufferWidth(bufferWidth),
      m_bufferHeight(bufferHeight) {}

bool HostileRecords::chance(int percent) { return int(m_random() % 100) < percent; }

uint64_t HostileRecords::pick(std::initializer_list<uint64_t> values) {
  return *(values.begin() + m_random() % values.size());
}

// Sizes around every limit a reader might have, and any 32-bit value.
uint32_t HostileRecords::side() {
  if (chance(40)) return uint32_t(1 + m_random() % 3840);
  return uint32_t(pick({0, 1, 2, 63, 64, 3840, 3841, 4096, 16384, 65535, 0x7FFFFFFF, 0x80000000,
                        0xFFFFFFFF, m_random() & 0xFFFFFFFF}));
}

// Offsets inside the region, at and past its end, and where 64-bit arithmetic wraps.
uint64_t HostileRecords::offset() {
  if (chance(30)) return m_random() % std::max<uint64_t>(m_regionSize, 1);
  const uint64_t secondBuffer = kFrameHeaderSize + uint64_t(m_bufferWidth) * m_bufferHeight * 4;
  return pick({0, kFrameHeaderSize, secondBuffer, m_regionSize - 1, m_regionSize - 4, m_regionSize,
               m_regionSize + 4096, m_regionSize * 2, uint64_t(1) << 32, uint64_t(1) << 63,
               ~uint64_t(0), ~uint64_t(0) - 7, m_random()});
}

// Lengths that the cipher refuses (not a multiple of 8), that run past the header or the
// region, and that are well-formed.
uint64_t HostileRecords::sealedLength() {
  return pick({0, 8, 88, 96, 97, 100, kFrameHeaderSize - 0x28, kFrameHeaderSize, 4096,
               m_regionSize & ~uint64_t(7), (m_regionSize + 8) & ~uint64_t(7), uint64_t(1) << 32,
               uint64_t(1) << 40, ~uint64_t(7), ~uint64_t(0), (m_random() % 4096) & ~uint64_t(7),
               m_random()});
}

uint32_t HostileRecords::frameKind() {
  return uint32_t(pick({0, 0, kTextureFrame, 2, m_random() & 0xFFFFFFFF}));
}

HostilePublication HostileRecords::next(uint32_t nowMs) {
  HostilePublication publication;
  const int layout = int(m_random() % 10);
  publication.layout = layout < 5 ? HostileLayout::Sealed
                       : layout < 9 ? HostileLayout::Plain
                                    : HostileLayout::Noise;
  publication.wellFormed = publication.layout != HostileLayout::Noise && chance(20);
  CaptureFrameRecord& record = publication.record;
  record.timestampMs = chance(80) ? nowMs : m_random();
  if (publication.wellFormed) {
    record.width = uint32_t(1 + m_random() % m_bufferWidth);
    record.height = uint32_t(1 + m_random() % m_bufferHeight);
    record.readBufferOffset = kFrameHeaderSize;
    record.writeBufferOffset = kFrameHeaderSize + uint64_t(m_bufferWidth) * m_bufferHeight * 4;
    publication.readBufferOffset = record.readBufferOffset;
    publication.writeBufferOffset = record.writeBufferOffset;
    publication.sealedLength = kFrameRecordSize;
    return publication;
  }
  record.recordFlag = uint32_t(m_random());
  record.width = side();
  record.height = side();
  record.readBufferOffset = offset();
  record.writeBufferOffset = offset();
  record.frameKind = frameKind();
  record.textureId = uint32_t(m_random());
  record.adapterIndex = uint32_t(pick({0, 1, 7, m_random() & 0xFFFFFFFF}));
  record.keyedMutexKey = m_random();
  record.dumpFrame = uint8_t(chance(10) ? 1 : 0);
  record.adapterLuid.LowPart = uint32_t(m_random());
  record.adapterLuid.HighPart = int32_t(m_random());
  record.is709 = uint32_t(m_random() % 3);
  record.isFullRange = uint8_t(m_random());
  publication.readBufferOffset = offset();
  publication.writeBufferOffset = offset();
  publication.sealedLength = chance(30) ? kFrameRecordSize : sealedLength();
  return publication;
}

void HostileRecords::fill(uint8_t* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) bytes[i] = uint8_t(m_random());
}
