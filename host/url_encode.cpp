#include "host/url_encode.h"

#include <windows.h>

#include <string>

namespace {

std::string toUtf8(const std::wstring& text) {
  if (text.empty()) return {};
  int length = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), nullptr, 0, nullptr, nullptr);
  std::string bytes(size_t(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), bytes.data(), length, nullptr, nullptr);
  return bytes;
}

bool keptAsIs(unsigned char byte) {
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
         byte == '.';
}

}  // namespace

std::wstring urlEncode(const std::wstring& text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::wstring encoded;
  for (unsigned char byte : toUtf8(text)) {
    if (byte == 0) break;
    if (keptAsIs(byte)) {
      encoded += wchar_t(byte);
    } else {
      encoded += L'%';
      encoded += wchar_t(kHex[byte >> 4]);
      encoded += wchar_t(kHex[byte & 15]);
    }
  }
  return encoded;
}
