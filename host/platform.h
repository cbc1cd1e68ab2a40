#pragma once
// The few platform calls that a test cannot drive under Wine: a blocking notice, starting
// another program, and the millisecond clock behind log throttles. Tests install their own.
#include <cstdint>

class Platform {
 public:
  virtual ~Platform() = default;
  // Blocks until the user dismisses it (MessageBoxW, no owner, one OK button).
  virtual void showNotice(const wchar_t* text, const wchar_t* caption) = 0;
  // ShellExecuteExW of `file` with `parameters` (may be null), maximised; true if it started.
  virtual bool launchProgram(const wchar_t* file, const wchar_t* parameters) = 0;
  // timeGetTime.
  virtual uint32_t milliseconds() = 0;
};

// The platform in force: the system's own unless a test installed another.
Platform& platform();

// Installs `replacement` (not owned); null puts the system's own back.
void setPlatform(Platform* replacement);
