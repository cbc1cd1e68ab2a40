#pragma once
#include <functional>
#include <stdexcept>
#include <string>

// The message of what `run` throws; empty when it returns.
inline std::string thrownMessage(const std::function<void()>& run) {
  try {
    run();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "";
}
