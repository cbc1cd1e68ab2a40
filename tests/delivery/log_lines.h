#pragma once
// What this process wrote to the camera's log.
#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/log_files.h"

inline std::string cameraLog() { return userLogFolder() + "zarncamvcam.log"; }

// Lines of this process logged from byte `from` on that hold `text`.
inline std::vector<std::string> linesContaining(uint64_t from, const std::string& text) {
  std::vector<std::string> found;
  for (const std::string& line : linesOfPid(readLines(cameraLog(), from), GetCurrentProcessId())) {
    if (line.find(text) != std::string::npos) found.push_back(line);
  }
  return found;
}
