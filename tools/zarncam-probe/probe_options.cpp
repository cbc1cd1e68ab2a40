#include "probe_options.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

const char kProbeUsage[] =
    "usage: zarncam-probe [--list] [--caps] [--size WxH] [--fps N] [--format rgb24|rgb32|i420]\n"
    "                     [--frames N | --seconds S] [--bmp N] [--bmp-folder DIR] [--cycles N]\n"
    "                     [--builder capture|preview|both] [--runs N] [--until EVENT]\n"
    "  --list        the video input devices, as a host sees them, then the camera's registered\n"
    "                module and its version\n"
    "  --caps        the capabilities of \"ZarnCam Pro\"\n"
    "  otherwise     opens \"ZarnCam Pro\" at the size, rate and format given (default 1280x720,\n"
    "                30 fps, rgb32), receives frames and prints their rate and age\n"
    "  --bmp N       writes the first N frames as BMP files (rgb24 and rgb32 only)\n"
    "  --cycles N    N times: opens the camera from the device list, sets a catalogue row that\n"
    "                changes from cycle to cycle, runs until --frames (default 10) or --seconds\n"
    "                (default 10), stops and releases it; prints each cycle, the frames from the\n"
    "                mixer and the placeholder, the process's handle count after the first and\n"
    "                the last cycle, and the camera's holder after the last stop\n"
    "  --until EVENT a run or cycle also ends when the named auto-reset event is set\n"
    "  --builder S   builds the graph with the capture graph builder: sets the format through the\n"
    "                IAMStreamConfig that it finds, renders the capture stream to a null renderer,\n"
    "                the preview stream to the renderer it picks (needs a display), or both; runs\n"
    "                it --runs times (default 2) until --frames (default 30) in every stream or\n"
    "                --seconds (default 10), and stops it; prints the frames of each stream and\n"
    "                run, and exits with 6 when a stop hangs\n";

namespace {

bool wholeNumber(const char* text, int low, int high, int& value) {
  char* end = nullptr;
  long parsed = std::strtol(text, &end, 10);
  if (end == text || *end != '\0' || parsed < low || parsed > high) return false;
  value = static_cast<int>(parsed);
  return true;
}

}  // namespace

bool parseProbeOptions(int argc, char** argv, ProbeOptions& options, std::string& error) {
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    bool takesValue = arg == "--size" || arg == "--fps" || arg == "--format" || arg == "--frames" ||
                      arg == "--seconds" || arg == "--bmp" || arg == "--bmp-folder" || arg == "--cycles" ||
                      arg == "--builder" || arg == "--runs" || arg == "--until";
    if (takesValue && i + 1 >= argc) {
      error = arg + " wants a value";
      return false;
    }
    const char* value = takesValue ? argv[++i] : "";
    if (arg == "--list") {
      options.listDevices = true;
    } else if (arg == "--caps") {
      options.listCaps = true;
    } else if (arg == "--size") {
      if (std::sscanf(value, "%dx%d", &options.width, &options.height) != 2 || options.width < 1 ||
          options.height < 1) {
        error = std::string("--size wants WxH, not ") + value;
        return false;
      }
    } else if (arg == "--fps") {
      if (!wholeNumber(value, 1, 240, options.fps)) {
        error = std::string("--fps wants 1 to 240, not ") + value;
        return false;
      }
    } else if (arg == "--format") {
      options.format = value;
      if (options.format != "rgb24" && options.format != "rgb32" && options.format != "i420") {
        error = std::string("--format wants rgb24, rgb32 or i420, not ") + value;
        return false;
      }
    } else if (arg == "--builder") {
      options.builder = value;
      if (options.builder != "capture" && options.builder != "preview" && options.builder != "both") {
        error = std::string("--builder wants capture, preview or both, not ") + value;
        return false;
      }
    } else if (arg == "--frames" || arg == "--seconds" || arg == "--bmp" || arg == "--cycles" ||
               arg == "--runs") {
      int& target = arg == "--frames"    ? options.frames
                    : arg == "--seconds" ? options.seconds
                    : arg == "--cycles"  ? options.cycles
                    : arg == "--runs"    ? options.runs
                                         : options.bmpFrames;
      if (!wholeNumber(value, 0, 1000000, target)) {
        error = arg + " wants a whole number, not " + value;
        return false;
      }
    } else if (arg == "--bmp-folder") {
      options.bmpFolder = value;
    } else if (arg == "--until") {
      options.untilEvent = value;
    } else {
      error = "unknown argument " + arg;
      return false;
    }
  }
  // A cycle always ends by itself.
  if (options.cycles > 0 && options.frames == 0 && options.seconds == 0) options.frames = 10;
  if (options.cycles > 0 && options.seconds == 0) options.seconds = 10;
  if (!options.builder.empty() && options.frames == 0 && options.seconds == 0) options.frames = 30;
  if (!options.builder.empty() && options.seconds == 0) options.seconds = 10;
  return true;
}
