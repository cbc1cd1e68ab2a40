#pragma once
// A platform whose millisecond clock the test sets; it records notices and starts nothing.
#include <string>
#include <vector>

#include "host/platform.h"

class FakeClock : public Platform {
 public:
  void showNotice(const wchar_t* text, const wchar_t* caption) override {
    notices.push_back(std::wstring(caption) + L"|" + text);
  }
  bool launchProgram(const wchar_t*, const wchar_t*) override { return false; }
  uint32_t milliseconds() override { return now; }

  uint32_t now = 0;
  std::vector<std::wstring> notices;
};
