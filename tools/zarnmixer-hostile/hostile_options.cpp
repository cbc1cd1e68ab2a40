#include "tools/zarnmixer-hostile/hostile_options.h"

#include <cerrno>
#include <cstdlib>

#include "link/frame_region_layout.h"

const char kHostileUsage[] =
    "usage: zarnmixer-hostile [--seed N] [--seconds S] [--rate N] [--size WxH] [--until EVENT]\n"
    "Stands in for a broken or hostile mixer: publishes random frame records into the frame\n"
    "region, sealed and plain, with random sizes, buffer offsets, frame kinds and sealed lengths,\n"
    "now and then a well-formed one or noise over the whole header, and signals the frame event\n"
    "after each. The same seed gives the same records.\n"
    "  --seed N      seed of the random choices (default: from the clock, printed)\n"
    "  --seconds S   stop after S seconds (default 10)\n"
    "  --rate N      publications a second, 1 to 1000 (default 60)\n"
    "  --size WxH    a region made for W by H frames (default 1280x720), if none exists yet\n"
    "  --until EVENT stop earlier, when the named event is set\n";

namespace {

bool parseWhole(const char* text, unsigned long long high, unsigned long long& value) {
  char* end = nullptr;
  errno = 0;
  value = std::strtoull(text, &end, 10);
  return errno == 0 && end != text && *end == '\0' && text[0] != '-' && value <= high;
}

}  // namespace

bool parseHostileOptions(int argc, char** argv, HostileOptions& options, std::string& error) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help") {
      options.help = true;
      continue;
    }
    if (i + 1 >= argc) {
      error = arg == "--seed" || arg == "--seconds" || arg == "--rate" || arg == "--size" ||
                      arg == "--until"
                  ? arg + " needs a value"
                  : "unknown argument " + arg;
      return false;
    }
    const char* value = argv[++i];
    unsigned long long number = 0;
    if (arg == "--seed") {
      if (!parseWhole(value, UINT64_MAX, number)) {
        error = std::string("--seed wants a whole number, not ") + value;
        return false;
      }
      options.seed = number;
      options.seedGiven = true;
    } else if (arg == "--seconds") {
      char* end = nullptr;
      options.seconds = std::strtod(value, &end);
      if (end == value || *end != '\0' || !(options.seconds > 0) || options.seconds > 86400) {
        error = std::string("--seconds wants a number above 0 and up to a day, not ") + value;
        return false;
      }
    } else if (arg == "--rate") {
      if (!parseWhole(value, 1000, number) || number < 1) {
        error = std::string("--rate wants 1 to 1000, not ") + value;
        return false;
      }
      options.rate = int(number);
    } else if (arg == "--size") {
      unsigned long long width = 0;
      unsigned long long height = 0;
      const std::string text = value;
      const size_t cross = text.find('x');
      if (cross == std::string::npos || !parseWhole(text.substr(0, cross).c_str(), 16384, width) ||
          !parseWhole(text.substr(cross + 1).c_str(), 16384, height) ||
          frameRegionSize(kFrameHeaderSize, int32_t(width), int32_t(height)) <= 0 || width == 0 ||
          height == 0) {
        error = std::string("--size wants WxH with a region below 2 GB, not ") + value;
        return false;
      }
      options.regionWidth = int32_t(width);
      options.regionHeight = int32_t(height);
    } else if (arg == "--until") {
      options.untilEvent = value;
    } else {
      error = "unknown argument " + arg;
      return false;
    }
  }
  return true;
}
