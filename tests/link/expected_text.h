#pragma once
// Results compared as text: byte strings in hexadecimal, for wire formats pinned to literal
// bytes, and the message of what a call throws.
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

inline std::vector<uint8_t> hexBytes(const std::string& hex) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(uint8_t(std::stoul(hex.substr(i, 2), nullptr, 16)));
  return out;
}

inline std::string hexText(const std::vector<uint8_t>& data) {
  static const char digits[] = "0123456789ABCDEF";
  std::string out;
  for (uint8_t b : data) out += {digits[b >> 4], digits[b & 15]};
  return out;
}

// The message of what `run` throws; empty when it returns.
inline std::string thrownMessage(const std::function<void()>& run) {
  try {
    run();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "";
}
