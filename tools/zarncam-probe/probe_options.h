#pragma once
// Command line of zarncam-probe.
#include <string>

struct ProbeOptions {
  bool listDevices = false;
  bool listCaps = false;
  int width = 1280;
  int height = 720;
  int fps = 30;
  std::string format = "rgb32";  // rgb24, rgb32 or i420
  int frames = 0;                // frames to capture; 0 with seconds 0 means 100
  int seconds = 0;
  int cycles = 0;                // above 0: open, format, run, stop and release that many times
  std::string builder;            // capture, preview or both: the graph comes from the builder
  int runs = 2;                   // with --builder: runs of one graph, each stopped
  int bmpFrames = 0;             // how many of the first frames go to BMP files
  std::string bmpFolder = ".";
  std::string untilEvent;         // a named event that ends a run early, set by whoever waits
};

extern const char kProbeUsage[];

enum ProbeExitCode { kOk = 0, kBadArguments = 2, kNoCamera = 3, kRefused = 4, kFailed = 5, kHung = 6 };

// False with `error` set when the command line is wrong.
bool parseProbeOptions(int argc, char** argv, ProbeOptions& options, std::string& error);
