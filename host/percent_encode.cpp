#include "host/percent_encode.h"

namespace {

bool keptAsIs(unsigned char byte) {
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
         (byte >= '0' && byte <= '9') || byte == '.';
}

}  // namespace

std::string percentEncode(const std::string& bytes) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  for (unsigned char byte : bytes) {
    if (byte == 0) break;
    if (keptAsIs(byte)) {
      encoded += char(byte);
    } else {
      encoded += '%';
      encoded += kHex[byte >> 4];
      encoded += kHex[byte & 15];
    }
  }
  return encoded;
}
