#pragma once
// Command line of the reference mixer.
#include <cstdint>
#include <string>

struct MixerSimOptions {
  bool plain = false;          // the fall-back layout with a clear record
  int32_t regionWidth = 0;     // 0: the default region, made for 3840 by 2160
  int32_t regionHeight = 0;
  bool fixedSize = false;      // publish at the region's size, not the hosts' request
  int fps = 30;
  int64_t frames = -1;         // -1: no limit
  double seconds = -1;         // below 0: no limit
  bool disableConnect = false;
  bool dumpFrames = false;
  bool texture = false;        // records name a shared texture instead of region pixels
  bool help = false;
};

// False with a message naming the offending argument.
bool parseMixerSimOptions(int argc, char** argv, MixerSimOptions& options, std::string& error);

extern const char kMixerSimUsage[];
