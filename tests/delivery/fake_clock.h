#pragma once
// A platform whose millisecond clock the test sets; it shows nothing and starts nothing.
#include "host/platform.h"

class FakeClock : public Platform {
 public:
  void showNotice(const wchar_t*, const wchar_t*) override {}
  bool launchProgram(const wchar_t*, const wchar_t*) override { return false; }
  uint32_t milliseconds() override { return now; }

  uint32_t now = 0;
};
