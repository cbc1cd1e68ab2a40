#include "link/frame_cipher.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const uint32_t kZeroChain[2] = {0, 0};

std::vector<uint8_t> bytes(const std::string& hex) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(uint8_t(std::stoul(hex.substr(i, 2), nullptr, 16)));
  return out;
}

std::string hexOf(const std::vector<uint8_t>& data) {
  static const char digits[] = "0123456789ABCDEF";
  std::string out;
  for (uint8_t b : data) {
    out += digits[b >> 4];
    out += digits[b & 15];
  }
  return out;
}

FrameCipher keyed(const std::vector<uint8_t>& key, const uint32_t chain[2] = kZeroChain) {
  return FrameCipher(key.data(), key.size(), chain);
}

struct BlockVector {
  const char* key;
  const char* plain;
  const char* cipher;
};

// The published Blowfish test vectors for 8-byte keys.
const BlockVector kEcbVectors[] = {
    {"0000000000000000", "0000000000000000", "4EF997456198DD78"},
    {"FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
    {"3000000000000000", "1000000000000001", "7D856F9A613063F2"},
    {"1111111111111111", "1111111111111111", "2466DD878B963C9D"},
    {"0123456789ABCDEF", "1111111111111111", "61F9C3802281B096"},
    {"1111111111111111", "0123456789ABCDEF", "7D0CC630AFDA1EC7"},
    {"FEDCBA9876543210", "0123456789ABCDEF", "0ACEAB0FC6A0A28D"},
    {"7CA110454A1A6E57", "01A1D6D039776742", "59C68245EB05282B"},
    {"0131D9619DC1376E", "5CD54CA83DEF57DA", "B1B8CC0B250F09A0"},
    {"07A1133E4A0B2686", "0248D43806F67172", "1730E5778BEA1DA4"},
    {"3849674C2602319E", "51454B582DDF440A", "A25E7856CF2651EB"},
    {"04B915BA43FEB5B6", "42FD443059577FA2", "353882B109CE8F1A"},
    {"0113B970FD34F2CE", "059B5E0851CF143A", "48F4D0884C379918"},
    {"0170F175468FB5E6", "0756D8E0774761D2", "432193B78951FC98"},
    {"43297FAD38E373FE", "762514B829BF486A", "13F04154D69D1AE5"},
    {"07A7137045DA2A16", "3BDD119049372802", "2EEDDA93FFD39C79"},
    {"04689104C2FD3B2F", "26955F6835AF609A", "D887E0393C2DA6E3"},
    {"37D06BB516CB7546", "164D5E404F275232", "5F99D04F5B163969"},
    {"1F08260D1AC2465E", "6B056E18759F5CCA", "4A057A3B24D3977B"},
    {"584023641ABA6176", "004BD6EF09176062", "452031C1E4FADA8E"},
    {"025816164629B007", "480D39006EE762F2", "7555AE39F59B87BD"},
    {"49793EBC79B3258F", "437540C8698F3CFA", "53C55F9CB49FC019"},
    {"4FB05E1515AB73A7", "072D43A077075292", "7A8E7BFA937E89A3"},
    {"49E95D6D4CA229BF", "02FE55778117F12A", "CF9C5D7A4986ADB5"},
    {"018310DC409B26D6", "1D9D5C5018F728C2", "D1ABB290658BC778"},
    {"1C587F1C13924FEF", "305532286D6F295A", "55CB3774D13EF201"},
    {"0101010101010101", "0123456789ABCDEF", "FA34EC4847B268B2"},
    {"1F1F1F1F0E0E0E0E", "0123456789ABCDEF", "A790795108EA3CAE"},
    {"E0FEE0FEF1FEF1FE", "0123456789ABCDEF", "C39E072D9FAC631D"},
    {"0000000000000000", "FFFFFFFFFFFFFFFF", "014933E0CDAFF6E4"},
    {"FFFFFFFFFFFFFFFF", "0000000000000000", "F21E9A77B71C49BC"},
    {"0123456789ABCDEF", "0000000000000000", "245946885754369A"},
    {"FEDCBA9876543210", "FFFFFFFFFFFFFFFF", "6B5C5A9C5D9E0A5A"},
};

TEST(FrameCipher, StandardVectorsHoldInEcbBothWays) {
  for (const BlockVector& v : kEcbVectors) {
    SCOPED_TRACE(v.key);
    const FrameCipher cipher = keyed(bytes(v.key));
    std::vector<uint8_t> out(8);
    cipher.encipher(bytes(v.plain).data(), out.data(), 8, FrameCipher::ECB);
    EXPECT_EQ(hexOf(out), v.cipher);
    cipher.decipher(bytes(v.cipher).data(), out.data(), 8, FrameCipher::ECB);
    EXPECT_EQ(hexOf(out), v.plain);
  }
}

TEST(FrameCipher, KeyBytesRepeatCyclicallyForShortAndLongKeys) {
  const std::vector<uint8_t> key = bytes("F0E1D2C3B4A5968778695A4B3C2D1E0F0011223344556677");
  const std::vector<uint8_t> plain = bytes("FEDCBA9876543210");
  const struct {
    size_t length;
    const char* cipher;
  } cases[] = {{1, "F9AD597C49DB005E"}, {8, "E87A244E2CC85E82"}, {16, "93142887EE3BE15C"},
               {24, "05044B62FA52D080"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    FrameCipher cipher(key.data(), c.length, kZeroChain);
    std::vector<uint8_t> out(8);
    cipher.encipher(plain.data(), out.data(), 8, FrameCipher::ECB);
    EXPECT_EQ(hexOf(out), c.cipher);
  }
}

TEST(FrameCipher, ChainedModesMatchTheirPublishedResults) {
  const uint32_t chain[2] = {0xFEDCBA98, 0x76543210};
  const FrameCipher cipher = keyed(bytes("0123456789ABCDEFF0E1D2C3B4A59687"), chain);
  std::vector<uint8_t> plain(32, 0);
  std::memcpy(plain.data(), "7654321 Now is the time for ", 29);
  const struct {
    int mode;
    size_t length;
    const char* cipher;
  } cases[] = {
      {FrameCipher::CBC, 32, "6B77B4D63006DEE605B156E27403979358DEB9E7154616D959F1652BD5FF92CC"},
      {FrameCipher::CFB, 24, "E73214A2822139CAF26ECF6D2EB9E76E3DA3DE04D1517200"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mode);
    std::vector<uint8_t> sealed(c.length);
    cipher.encipher(plain.data(), sealed.data(), c.length, c.mode);
    EXPECT_EQ(hexOf(sealed), c.cipher);
    std::vector<uint8_t> opened(c.length);
    cipher.decipher(sealed.data(), opened.data(), c.length, c.mode);
    EXPECT_EQ(opened, std::vector<uint8_t>(plain.begin(), plain.begin() + c.length));
  }
}

TEST(FrameCipher, CbcRecordsSealAlikeAndAChangeSpreadsOnlyForward) {
  const FrameCipher cipher = keyed(bytes("487334E8"));
  std::vector<uint8_t> record(96);
  for (size_t i = 0; i < record.size(); ++i) record[i] = uint8_t(i * 7);
  std::vector<uint8_t> first(96);
  std::vector<uint8_t> again(96);
  cipher.encipher(record.data(), first.data(), 96, FrameCipher::CBC);
  cipher.encipher(record.data(), again.data(), 96, FrameCipher::CBC);
  EXPECT_EQ(first, again);

  for (size_t changed : {0u, 43u, 95u}) {
    SCOPED_TRACE(changed);
    std::vector<uint8_t> altered = record;
    altered[changed] ^= 1;
    std::vector<uint8_t> sealed(96);
    cipher.encipher(altered.data(), sealed.data(), 96, FrameCipher::CBC);
    for (size_t block = 0; block < 12; ++block) {
      const bool same = std::equal(sealed.begin() + block * 8, sealed.begin() + block * 8 + 8,
                                   first.begin() + block * 8);
      EXPECT_EQ(same, block < changed / 8) << "block " << block;
    }
    std::vector<uint8_t> opened(96);
    cipher.decipher(sealed.data(), opened.data(), 96, FrameCipher::CBC);
    EXPECT_EQ(opened, altered);
  }
}

TEST(FrameCipher, OnlyTheFirst56KeyBytesCount) {
  std::vector<uint8_t> longKey(57);
  for (size_t i = 0; i < longKey.size(); ++i) longKey[i] = uint8_t(i * 13 + 1);
  const FrameCipher full = keyed(longKey);
  const FrameCipher cut(longKey.data(), 56, kZeroChain);
  const std::vector<uint8_t> plain = bytes("0123456789ABCDEF");
  std::vector<uint8_t> a(8);
  std::vector<uint8_t> b(8);
  full.encipher(plain.data(), a.data(), 8, FrameCipher::ECB);
  cut.encipher(plain.data(), b.data(), 8, FrameCipher::ECB);
  EXPECT_EQ(a, b);
}

TEST(FrameCipher, BadLengthsThrowTheirMessagesAndWriteNothing) {
  try {
    FrameCipher(nullptr, 0, kZeroChain);
    ADD_FAILURE() << "an empty key was accepted";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "Incorrect key length");
  }

  const FrameCipher cipher = keyed(bytes("0011223344556677"));
  const std::vector<uint8_t> in(104, 0x5A);
  for (size_t n : {0u, 4u, 100u}) {
    for (bool encipher : {true, false}) {
      SCOPED_TRACE(testing::Message() << n << (encipher ? " encipher" : " decipher"));
      std::vector<uint8_t> out(104, 0xEE);
      try {
        if (encipher) {
          cipher.encipher(in.data(), out.data(), n, FrameCipher::CBC);
        } else {
          cipher.decipher(in.data(), out.data(), n, FrameCipher::CBC);
        }
        ADD_FAILURE() << "accepted";
      } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "Incorrect buffer length");
      }
      EXPECT_EQ(out, std::vector<uint8_t>(104, 0xEE));
    }
  }
}

}  // namespace
