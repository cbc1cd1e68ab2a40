#include "link/frame_cipher.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/link/expected_text.h"

namespace {

const uint32_t kZeroChain[2] = {0, 0};

FrameCipher keyed(const std::vector<uint8_t>& key) {
  return FrameCipher(key.data(), key.size(), kZeroChain);
}

// Published Blowfish vectors; the last ones have keys of 1, 16 and 24 bytes.
const struct { const char* key; const char* plain; const char* cipher; } kEcbVectors[] = {
    {"0000000000000000", "0000000000000000", "4EF997456198DD78"},
    {"FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
    {"0123456789ABCDEF", "0000000000000000", "245946885754369A"},
    {"F0", "FEDCBA9876543210", "F9AD597C49DB005E"},
    {"F0E1D2C3B4A5968778695A4B3C2D1E0F", "FEDCBA9876543210", "93142887EE3BE15C"},
    {"F0E1D2C3B4A5968778695A4B3C2D1E0F0011223344556677", "FEDCBA9876543210", "05044B62FA52D080"},
};

TEST(FrameCipher, StandardVectorsHoldInEcbBothWays) {
  for (const auto& v : kEcbVectors) {
    SCOPED_TRACE(v.key);
    const FrameCipher cipher = keyed(hexBytes(v.key));
    std::vector<uint8_t> out(8);
    cipher.encipher(hexBytes(v.plain).data(), out.data(), 8, FrameCipher::ECB);
    EXPECT_EQ(hexText(out), v.cipher);
    cipher.decipher(hexBytes(v.cipher).data(), out.data(), 8, FrameCipher::ECB);
    EXPECT_EQ(hexText(out), v.plain);
  }
}

TEST(FrameCipher, OnlyTheFirst56KeyBytesCount) {
  std::vector<uint8_t> key(57);
  for (size_t i = 0; i < key.size(); ++i) key[i] = uint8_t(i * 13 + 1);
  const std::vector<uint8_t> plain = hexBytes("0123456789ABCDEF");
  std::vector<uint8_t> full(8), cut(8);
  keyed(key).encipher(plain.data(), full.data(), 8, FrameCipher::ECB);
  key.pop_back();
  keyed(key).encipher(plain.data(), cut.data(), 8, FrameCipher::ECB);
  EXPECT_EQ(full, cut);
}

TEST(FrameCipher, BadLengthsThrowTheirMessagesAndWriteNothing) {
  EXPECT_EQ(thrownMessage([] { FrameCipher(nullptr, 0, kZeroChain); }), "Incorrect key length");
  const FrameCipher cipher = keyed(hexBytes("0011223344556677"));
  const std::vector<uint8_t> in(104, 0x5A);
  for (size_t n : {0u, 4u, 100u}) {
    for (auto run : {&FrameCipher::encipher, &FrameCipher::decipher}) {
      SCOPED_TRACE(testing::Message() << n << (run == &FrameCipher::encipher ? " encipher" : " decipher"));
      std::vector<uint8_t> out(104, 0xEE);
      EXPECT_EQ(thrownMessage([&] { (cipher.*run)(in.data(), out.data(), n, FrameCipher::CBC); }),
                "Incorrect buffer length");
      EXPECT_EQ(out, std::vector<uint8_t>(104, 0xEE));
    }
  }
}

}  // namespace
