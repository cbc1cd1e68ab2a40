// What the pure parts need of the Windows-only diag and host libraries, for a native build:
// a log call that formats its arguments (so the sanitizers check them) and drops the line, and a
// platform whose clock is the monotonic one.
#include <chrono>
#include <cstdarg>
#include <cstdio>

#include "diag/log.h"
#include "host/platform.h"

void LogPrint(int level, const char* format, ...) {
  char line[4096];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof(line), format, args);
  va_end(args);
}

namespace {

class NativePlatform : public Platform {
 public:
  void showNotice(const wchar_t*, const wchar_t*) override {}
  bool launchProgram(const wchar_t*, const wchar_t*) override { return false; }
  uint32_t milliseconds() override {
    using namespace std::chrono;
    return uint32_t(duration_cast<std::chrono::milliseconds>(
                        steady_clock::now().time_since_epoch()).count());
  }
};

NativePlatform g_nativePlatform;
Platform* g_replacement = nullptr;

}  // namespace

Platform& platform() { return g_replacement ? *g_replacement : g_nativePlatform; }

void setPlatform(Platform* replacement) { g_replacement = replacement; }
