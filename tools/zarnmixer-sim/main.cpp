#include <windows.h>

#include <cstdio>

#include "tools/zarnmixer-sim/mixer_sim.h"
#include "tools/zarnmixer-sim/options.h"

namespace {

HANDLE g_stopEvent = nullptr;

BOOL WINAPI onConsoleSignal(DWORD signal) {
  SetEvent(g_stopEvent);
  return TRUE;
}

}  // namespace

int main(int argc, char** argv) {
  MixerSimOptions options;
  std::string error;
  if (!parseMixerSimOptions(argc, argv, options, error)) {
    std::fprintf(stderr, "zarnmixer-sim: %s\n%s", error.c_str(), kMixerSimUsage);
    return 2;
  }
  if (options.help) {
    std::printf("%s", kMixerSimUsage);
    return 0;
  }
  g_stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(onConsoleSignal, TRUE);
  const int code = MixerSim(options).run(g_stopEvent);
  std::fflush(stdout);
  return code;
}
