#pragma once
// Blowfish over whole 8-byte blocks, each block read as two big-endian 32-bit words.
#include <cstddef>
#include <cstdint>
#include <string>

class FrameCipher {
 public:
  enum Mode { ECB = 0, CBC = 1, CFB = 2 };
  static constexpr size_t kBlockSize = 8;

  // Standard key set-up; only the first 56 key bytes count. Throws std::invalid_argument
  // ("Incorrect key length") for an empty key.
  FrameCipher(const uint8_t* key, size_t keyLength, const uint32_t chainingBlock[2]);

  // `n` must be a positive multiple of 8, else std::invalid_argument ("Incorrect buffer length")
  // before any output is written. Each call starts from the constructor's chaining block; a mode
  // other than CBC and CFB means ECB.
  void encipher(const uint8_t* in, uint8_t* out, size_t n, int mode) const;
  void decipher(const uint8_t* in, uint8_t* out, size_t n, int mode) const;

 private:
  uint32_t feistel(uint32_t x) const;
  void encipherBlock(uint32_t& left, uint32_t& right) const;
  void decipherBlock(uint32_t& left, uint32_t& right) const;

  // Every call starts from this block; calls never carry a chain over.
  uint32_t m_chain[2];
  uint32_t m_P[18];
  uint32_t m_S[4][256];
};

// The key shared with the mixer: 32 ASCII bytes used as they stand.
extern const std::string g_frameCipherKey;
