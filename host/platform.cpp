#include "host/platform.h"

#include <windows.h>
#include <shellapi.h>
#include <timeapi.h>

#include <atomic>

namespace {

class SystemPlatform : public Platform {
 public:
  void showNotice(const wchar_t* text, const wchar_t* caption) override {
    MessageBoxW(nullptr, text, caption, 0);
  }

  bool launchProgram(const wchar_t* file, const wchar_t* parameters) override {
    SHELLEXECUTEINFOW info = {};
    info.cbSize = sizeof(info);
    info.lpVerb = L"";
    info.lpFile = file;
    info.lpParameters = parameters;
    info.nShow = SW_SHOWMAXIMIZED;
    return ShellExecuteExW(&info) != FALSE;
  }

  uint32_t milliseconds() override { return timeGetTime(); }
};

SystemPlatform g_systemPlatform;
std::atomic<Platform*> g_platform{&g_systemPlatform};

}  // namespace

Platform& platform() { return *g_platform.load(); }

void setPlatform(Platform* replacement) {
  g_platform.store(replacement ? replacement : &g_systemPlatform);
}
