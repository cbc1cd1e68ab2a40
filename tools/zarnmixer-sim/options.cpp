#include "tools/zarnmixer-sim/options.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "link/frame_region_layout.h"

const char kMixerSimUsage[] =
    "usage: zarnmixer-sim [options]\n"
    "Publishes a test pattern into the frame region, as the mixer does, at the size the hosts ask\n"
    "for, until Ctrl-C or a limit below.\n"
    "  --plain             clear records (the fall-back layout) instead of sealed ones\n"
    "  --size WxH          a region sized for W by H frames instead of 3840 by 2160\n"
    "  --fixed-size        frames of the region's size, whatever the hosts ask for\n"
    "  --fps N             frames a second, 1 to 240 (default 30)\n"
    "  --frames N          stop after N frames\n"
    "  --seconds S         stop after S seconds\n"
    "  --disable-connect   refuse host connections while running\n"
    "  --dump              ask the hosts for a frame dump\n"
    "  --texture           publish each frame as a shared D3D11 texture (BT.709, limited range);\n"
    "                      exits 3 where the platform refuses the texture a shared handle\n"
    "  --help              this text\n";

namespace {

bool parseInteger(const char* text, int64_t low, int64_t high, int64_t& value) {
  char* end = nullptr;
  errno = 0;
  const long long parsed = std::strtoll(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || parsed < low || parsed > high) return false;
  value = parsed;
  return true;
}

bool parseSize(const char* text, int32_t& width, int32_t& height) {
  const char* cross = std::strchr(text, 'x');
  if (!cross) return false;
  const std::string widthText(text, cross);
  int64_t w = 0;
  int64_t h = 0;
  if (!parseInteger(widthText.c_str(), 1, 16384, w) || !parseInteger(cross + 1, 1, 16384, h)) {
    return false;
  }
  width = int32_t(w);
  height = int32_t(h);
  return frameRegionSize(kFrameHeaderSize, width, height) > 0;
}

}  // namespace

bool parseMixerSimOptions(int argc, char** argv, MixerSimOptions& options, std::string& error) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool takesValue = arg == "--size" || arg == "--fps" || arg == "--frames" || arg == "--seconds";
    if (takesValue && i + 1 >= argc) {
      error = arg + " needs a value";
      return false;
    }
    const char* value = takesValue ? argv[++i] : nullptr;
    int64_t number = 0;
    if (arg == "--plain") {
      options.plain = true;
    } else if (arg == "--disable-connect") {
      options.disableConnect = true;
    } else if (arg == "--dump") {
      options.dumpFrames = true;
    } else if (arg == "--fixed-size") {
      options.fixedSize = true;
    } else if (arg == "--texture") {
      options.texture = true;
    } else if (arg == "--help") {
      options.help = true;
    } else if (arg == "--size") {
      if (!parseSize(value, options.regionWidth, options.regionHeight)) {
        error = std::string("--size wants WxH with both from 1 to 16384 and a region below 2 GB, not ") + value;
        return false;
      }
    } else if (arg == "--fps") {
      if (!parseInteger(value, 1, 240, number)) {
        error = std::string("--fps wants a whole number from 1 to 240, not ") + value;
        return false;
      }
      options.fps = int(number);
    } else if (arg == "--frames") {
      if (!parseInteger(value, 1, INT64_MAX, number)) {
        error = std::string("--frames wants a positive whole number, not ") + value;
        return false;
      }
      options.frames = number;
    } else if (arg == "--seconds") {
      char* end = nullptr;
      options.seconds = std::strtod(value, &end);
      if (end == value || *end != '\0' || !(options.seconds > 0)) {
        error = std::string("--seconds wants a positive number, not ") + value;
        return false;
      }
    } else {
      error = "unknown argument " + arg;
      return false;
    }
  }
  return true;
}
