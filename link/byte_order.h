#pragma once
// Loads and stores of fixed byte order on unaligned shared memory.
#include <cstdint>

inline uint32_t loadBigEndian32(const uint8_t* p) {
  return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

inline void storeBigEndian32(uint8_t* p, uint32_t value) {
  p[0] = uint8_t(value >> 24);
  p[1] = uint8_t(value >> 16);
  p[2] = uint8_t(value >> 8);
  p[3] = uint8_t(value);
}

inline uint32_t loadLittleEndian32(const uint8_t* p) {
  return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

inline void storeLittleEndian32(uint8_t* p, uint32_t value) {
  p[0] = uint8_t(value);
  p[1] = uint8_t(value >> 8);
  p[2] = uint8_t(value >> 16);
  p[3] = uint8_t(value >> 24);
}

inline uint64_t loadLittleEndian64(const uint8_t* p) {
  return uint64_t(loadLittleEndian32(p)) | (uint64_t(loadLittleEndian32(p + 4)) << 32);
}

inline void storeLittleEndian64(uint8_t* p, uint64_t value) {
  storeLittleEndian32(p, uint32_t(value));
  storeLittleEndian32(p + 4, uint32_t(value >> 32));
}
