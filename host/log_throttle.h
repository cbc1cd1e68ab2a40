#pragma once
// Repeating log lines: one per interval, per kind, for the whole process.
#include <atomic>
#include <cstdint>

#include "host/platform.h"

// True, and the time taken, when `intervalMs` have passed since `lastLine`. The clock wraps, so
// the difference is unsigned; a first line needs the machine to be up for one interval.
inline bool logLineDue(std::atomic<uint32_t>& lastLine, uint32_t intervalMs) {
  uint32_t now = platform().milliseconds();
  if (now - lastLine.load() < intervalMs) return false;
  lastLine = now;
  return true;
}
