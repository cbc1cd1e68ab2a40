// zarnmixer-hostile: a frame writer that breaks every rule of the frame region, for fault tests
// of the hosts that read it.
#include <windows.h>
#include <timeapi.h>

#include <cstdio>

#include "tools/zarnmixer-hostile/hostile_options.h"
#include "tools/zarnmixer-hostile/hostile_writer.h"

int main(int argc, char** argv) {
  HostileOptions options;
  std::string error;
  if (!parseHostileOptions(argc, argv, options, error)) {
    std::fprintf(stderr, "zarnmixer-hostile: %s\n%s", error.c_str(), kHostileUsage);
    return 2;
  }
  if (options.help) {
    std::printf("%s", kHostileUsage);
    return 0;
  }
  const uint64_t seed = options.seedGiven ? options.seed : (uint64_t(timeGetTime()) << 16) ^ GetCurrentProcessId();
  const int code = runHostileWriter(options, seed);
  std::fflush(stdout);
  return code;
}
