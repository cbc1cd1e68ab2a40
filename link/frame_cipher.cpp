#include "link/frame_cipher.h"

#include <cstring>
#include <stdexcept>

#include "link/blowfish_tables.h"
#include "link/byte_order.h"

const std::string g_frameCipherKey = "Hs4nWq0LkVt7RbYc2XuDf9GmZe1PaJo6";

namespace {

constexpr size_t kMaxKeyLength = 56;

void checkLength(size_t n) {
  if (n == 0 || n % FrameCipher::kBlockSize != 0) {
    throw std::invalid_argument("Incorrect buffer length");
  }
}

}  // namespace

FrameCipher::FrameCipher(const uint8_t* key, size_t keyLength, const uint32_t chainingBlock[2]) {
  if (keyLength == 0) throw std::invalid_argument("Incorrect key length");
  if (keyLength > kMaxKeyLength) keyLength = kMaxKeyLength;
  m_chain[0] = chainingBlock[0];
  m_chain[1] = chainingBlock[1];
  std::memcpy(m_S, kBlowfishInitialS, sizeof(m_S));

  size_t k = 0;
  for (int i = 0; i < 18; ++i) {
    uint32_t word = 0;
    for (int b = 0; b < 4; ++b) {
      word = (word << 8) | key[k];
      k = (k + 1) % keyLength;
    }
    m_P[i] = kBlowfishInitialP[i] ^ word;
  }

  uint32_t left = 0;
  uint32_t right = 0;
  for (int i = 0; i < 18; i += 2) {
    encipherBlock(left, right);
    m_P[i] = left;
    m_P[i + 1] = right;
  }
  for (auto& box : m_S) {
    for (int i = 0; i < 256; i += 2) {
      encipherBlock(left, right);
      box[i] = left;
      box[i + 1] = right;
    }
  }
}

uint32_t FrameCipher::feistel(uint32_t x) const {
  return ((m_S[0][x >> 24] + m_S[1][(x >> 16) & 0xFF]) ^ m_S[2][(x >> 8) & 0xFF]) + m_S[3][x & 0xFF];
}

void FrameCipher::encipherBlock(uint32_t& left, uint32_t& right) const {
  uint32_t l = left;
  uint32_t r = right;
  for (int i = 0; i < 16; i += 2) {
    l ^= m_P[i];
    r ^= feistel(l);
    r ^= m_P[i + 1];
    l ^= feistel(r);
  }
  left = r ^ m_P[17];
  right = l ^ m_P[16];
}

void FrameCipher::decipherBlock(uint32_t& left, uint32_t& right) const {
  uint32_t l = left;
  uint32_t r = right;
  for (int i = 17; i > 1; i -= 2) {
    l ^= m_P[i];
    r ^= feistel(l);
    r ^= m_P[i - 1];
    l ^= feistel(r);
  }
  left = r ^ m_P[0];
  right = l ^ m_P[1];
}

void FrameCipher::encipher(const uint8_t* in, uint8_t* out, size_t n, int mode) const {
  checkLength(n);
  uint32_t chain[2] = {m_chain[0], m_chain[1]};
  for (size_t at = 0; at < n; at += kBlockSize) {
    uint32_t left = loadBigEndian32(in + at);
    uint32_t right = loadBigEndian32(in + at + 4);
    if (mode == CBC) {
      left ^= chain[0];
      right ^= chain[1];
      encipherBlock(left, right);
      chain[0] = left;
      chain[1] = right;
    } else if (mode == CFB) {
      encipherBlock(chain[0], chain[1]);
      left ^= chain[0];
      right ^= chain[1];
      chain[0] = left;
      chain[1] = right;
    } else {
      encipherBlock(left, right);
    }
    storeBigEndian32(out + at, left);
    storeBigEndian32(out + at + 4, right);
  }
}

void FrameCipher::decipher(const uint8_t* in, uint8_t* out, size_t n, int mode) const {
  checkLength(n);
  uint32_t chain[2] = {m_chain[0], m_chain[1]};
  for (size_t at = 0; at < n; at += kBlockSize) {
    const uint32_t cipherLeft = loadBigEndian32(in + at);
    const uint32_t cipherRight = loadBigEndian32(in + at + 4);
    uint32_t left = cipherLeft;
    uint32_t right = cipherRight;
    if (mode == CBC) {
      decipherBlock(left, right);
      left ^= chain[0];
      right ^= chain[1];
      chain[0] = cipherLeft;
      chain[1] = cipherRight;
    } else if (mode == CFB) {
      encipherBlock(chain[0], chain[1]);
      left ^= chain[0];
      right ^= chain[1];
      chain[0] = cipherLeft;
      chain[1] = cipherRight;
    } else {
      decipherBlock(left, right);
    }
    storeBigEndian32(out + at, left);
    storeBigEndian32(out + at + 4, right);
  }
}
