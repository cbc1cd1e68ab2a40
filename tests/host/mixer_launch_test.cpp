#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <string>

#include "host/mixer_launch.h"
#include "host/platform.h"
#include "host/url_encode.h"
#include "tests/support/install_layout.h"

using zarn::test::InstallLayout;
using zarn::test::Layout;

namespace {

// The paths and parameters here are ASCII.
std::string narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

// Writes each launch to the recorder's log instead of starting anything.
class LoggingPlatform : public Platform {
 public:
  void showNotice(const wchar_t*, const wchar_t*) override {}
  bool launchProgram(const wchar_t* file, const wchar_t* parameters) override {
    wchar_t log[MAX_PATH] = {};
    GetEnvironmentVariableW(L"ZARNCAM_RECORDER_LOG", log, MAX_PATH);
    std::ofstream(log, std::ios::binary | std::ios::app)
        << narrow(file) << "|" << (parameters ? narrow(parameters) : "(null)") << "\n";
    return true;
  }
  uint32_t milliseconds() override { return now; }
  uint32_t now = 0;
};

}  // namespace

// args: boot|tips, holder pid, then the clock's times of the calls (one call at 0 without).
ZARN_CHILD_ROLE(launch) {
  LoggingPlatform logging;
  setPlatform(&logging);
  if (args[0] == "boot") BootZarnVcamProc();
  for (size_t i = 2; args[0] == "tips" && (i == 2 || i < args.size()); i++) {
    logging.now = i < args.size() ? uint32_t(std::stoul(args[i])) : 0;
    ShowTipsForOpeningProcess(uint32_t(std::stoul(args[1])));
  }
  setPlatform(nullptr);
  return 0;
}

TEST(UrlEncode, EncodesTheUtf8BytesOfTheText) {
  EXPECT_EQ(urlEncode(L"\u76f4\u64ad.exe"), L"%E7%9B%B4%E6%92%AD.exe");
}

// The boot takes the application beside the module or one folder up, with no arguments; the
// notice only one folder up, with the holder's names and pid: 999996 is a holder that has gone.
// A host's many refused types in one attempt bring one notice; the next attempt its own.
TEST(MixerLaunch, BootAndNoticeFindTheApplicationWhereEachLooks) {
  // Null parameters: nothing is launched.
  const struct { const wchar_t* operation; Layout layout; const char* parameters; const wchar_t* times = L"";
                 size_t launches = 1; } cases[] = {
      {L"boot", Layout::ApplicationBeside, "(null)"},
      {L"boot", Layout::ApplicationOneUp, "(null)"},
      {L"tips", Layout::ApplicationBeside, nullptr},
      {L"tips", Layout::ApplicationOneUp, "\"zarncampro://VirtualCamBeUsed/name=&parentName=&pid=999996\""},
      {L"tips", Layout::ApplicationOneUp,
       "\"zarncampro://VirtualCamBeUsed/name=&parentName=&pid=999996\"", L" 5 1000 2005", 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.operation << (c.layout == Layout::ApplicationBeside ? " beside" : " one up"));
    InstallLayout install(c.layout);
    ASSERT_TRUE(install.copied);
    const std::wstring arguments = L"--child launch " + std::wstring(c.operation) + L" 999996" + c.times;
    ASSERT_EQ(install.start(arguments).wait(20000), std::optional<DWORD>(0));
    std::string launches;
    for (size_t i = 0; c.parameters && i < c.launches; i++)
      launches += narrow(install.application()) + "|" + c.parameters + "\n";
    EXPECT_EQ(install.waitForLog(c.parameters ? c.launches : 0), launches);
  }
}
