#include "diag/ansi_text.h"

#include <windows.h>

std::string toAnsi(const std::wstring& text) {
  if (text.empty()) return std::string();
  int length = WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr,
                                   nullptr);
  std::string result(length > 0 ? length : 0, '\0');
  WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), result.data(), length, nullptr,
                      nullptr);
  return result;
}

std::wstring fromAnsi(const std::string& text) {
  if (text.empty()) return std::wstring();
  int length = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring result(length > 0 ? length : 0, L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), result.data(), length);
  return result;
}
