#pragma once
// Command line of the hostile writer.
#include <cstdint>
#include <string>

struct HostileOptions {
  uint64_t seed = 0;
  bool seedGiven = false;  // otherwise the seed is taken from the clock and printed
  double seconds = 10;
  int rate = 60;  // publications a second
  int32_t regionWidth = 1280;
  int32_t regionHeight = 720;
  std::string untilEvent;  // a named event that ends the run early
  bool help = false;
};

extern const char kHostileUsage[];

// False with a message naming the offending argument.
bool parseHostileOptions(int argc, char** argv, HostileOptions& options, std::string& error);
