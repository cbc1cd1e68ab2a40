#include "host/url_encode.h"

#include <windows.h>

#include <string>

#include "host/percent_encode.h"

namespace {

std::string toUtf8(const std::wstring& text) {
  if (text.empty()) return {};
  int length = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), nullptr, 0, nullptr, nullptr);
  std::string bytes(size_t(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), bytes.data(), length, nullptr, nullptr);
  return bytes;
}

}  // namespace

std::wstring urlEncode(const std::wstring& text) {
  const std::string encoded = percentEncode(toUtf8(text));
  return std::wstring(encoded.begin(), encoded.end());
}
