#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "host/mixer_launch.h"
#include "host/platform.h"
#include "host/url_encode.h"
#include "tests/support/child_process.h"
#include "tests/support/install_layout.h"

using zarn::test::ChildProcess;
using zarn::test::InstallLayout;
using zarn::test::Layout;
using zarn::test::readFileBytes;

namespace {

const wchar_t kLogVariable[] = L"ZARNCAM_RECORDER_LOG";
// No process of a test machine has this id: a holder that has gone away.
const uint32_t kGoneHolder = 999996;

std::wstring widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }


std::string narrow(const std::wstring& text) {
  int length = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), nullptr, 0, nullptr, nullptr);
  std::string bytes(size_t(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), bytes.data(), length, nullptr, nullptr);
  return bytes;
}

// Writes each launch to the recorder's log instead of starting anything.
class LoggingPlatform : public Platform {
 public:
  void showNotice(const wchar_t*, const wchar_t*) override {}
  bool launchProgram(const wchar_t* file, const wchar_t* parameters) override {
    wchar_t log[MAX_PATH] = {};
    GetEnvironmentVariableW(kLogVariable, log, MAX_PATH);
    FILE* out = _wfopen(log, L"ab");
    if (!out) return false;
    std::string line = narrow(file) + "|" + (parameters ? narrow(parameters) : "(null)") + "\n";
    std::fwrite(line.data(), 1, line.size(), out);
    std::fclose(out);
    return true;
  }
  uint32_t milliseconds() override { return 0; }
};

// Runs one launch operation in the installed copy; true if it ran to the end.
bool runInstalled(const InstallLayout& install, const std::string& operation, uint32_t holderPid,
                  bool realLaunch) {
  std::wstring arguments = L"--child launch " + widen(operation) + L" " +
                           std::to_wstring(holderPid) + (realLaunch ? L" real" : L" logged");
  ChildProcess child = install.start(arguments);
  auto code = child.wait(20000);
  return code && *code == 0;
}

}  // namespace

// args: boot|tips, holder pid, real|logged.
ZARN_CHILD_ROLE(launch) {
  LoggingPlatform logging;
  if (args.size() != 3) return 2;
  if (args[2] == "logged") setPlatform(&logging);
  if (args[0] == "boot") {
    if (!BootZarnVcamProc()) return 3;
  } else {
    ShowTipsForOpeningProcess(uint32_t(std::stoul(args[1])));
  }
  setPlatform(nullptr);
  return 0;
}

TEST(UrlEncode, EncodesTheUtf8BytesOfTheText) {
  const struct {
    std::wstring text;
    std::wstring encoded;
  } cases[] = {
      {L"", L""},
      {L"cam app.exe", L"cam%20app.exe"},
      {L"caf\u00e9.exe", L"caf%C3%A9.exe"},
      {L"\u76f4\u64ad.exe", L"%E7%9B%B4%E6%92%AD.exe"},
  };
  for (const auto& c : cases) EXPECT_EQ(urlEncode(c.text), c.encoded) << narrow(c.text);
}

TEST(MixerLaunch, BootFindsTheApplicationBesideOrOneFolderUpAndStartsItWithoutArguments) {
  for (Layout layout : {Layout::ApplicationBeside, Layout::ApplicationOneUp}) {
    SCOPED_TRACE(layout == Layout::ApplicationBeside ? "beside" : "one up");
    InstallLayout install(layout);
    ASSERT_TRUE(install.copied);
    ASSERT_TRUE(runInstalled(install, "boot", 0, false));
    EXPECT_EQ(install.waitForLog(1), narrow(install.application()) + "|(null)\n");
  }
}

TEST(MixerLaunch, NoticeLooksOnlyOneFolderUp) {
  InstallLayout beside(Layout::ApplicationBeside);
  ASSERT_TRUE(beside.copied);
  ASSERT_TRUE(runInstalled(beside, "tips", kGoneHolder, false));
  EXPECT_EQ(beside.waitForLog(0), "");
}

TEST(MixerLaunch, NoticeForAGoneHolderSendsEmptyNamesAndThePid) {
  InstallLayout install(Layout::ApplicationOneUp);
  ASSERT_TRUE(install.copied);
  ASSERT_TRUE(runInstalled(install, "tips", kGoneHolder, false));
  EXPECT_EQ(install.waitForLog(1), narrow(install.application()) +
                                       "|\"zarncampro://VirtualCamBeUsed/name=&parentName=&pid=999996\"\n");
}

TEST(MixerLaunch, RealApplicationReceivesTheQuotedAddressOfALiveHolder) {
  InstallLayout install(Layout::ApplicationOneUp);
  ASSERT_TRUE(install.copied);
  // The holder is a second copy of the recorder under a name that needs encoding; it lingers
  // so that it is alive while the notice is formed, and writes its own line first.
  std::wstring holderPath = install.application() + L".holder-\u00fc_1.exe";
  std::wstring holderName = L"zarncam pro.exe.holder-\u00fc_1.exe";
  ASSERT_TRUE(CopyFileW(install.application().c_str(), holderPath.c_str(), FALSE));
  SetEnvironmentVariableW(L"ZARNCAM_RECORDER_LINGER_MS", L"20000");
  ChildProcess holder = ChildProcess::start(holderPath, L"");
  SetEnvironmentVariableW(L"ZARNCAM_RECORDER_LINGER_MS", nullptr);
  ASSERT_TRUE(holder.valid());
  install.waitForLog(1);

  ASSERT_TRUE(runInstalled(install, "tips", holder.pid(), true));
  std::string log = install.waitForLog(2);
  holder.kill();
  holder.wait(5000);
  DeleteFileW(holderPath.c_str());

  std::string expectedHead = "\"" + narrow(install.application()) + "\" \"zarncampro://VirtualCamBeUsed/name=" +
                             narrow(urlEncode(holderName)) + "&parentName=";
  std::string expectedTail = "&pid=" + std::to_string(holder.pid()) + "\"\n";
  size_t start = log.find('\n') + 1;
  ASSERT_LT(start, log.size()) << log;
  std::string line = log.substr(start);
  EXPECT_EQ(line.substr(0, expectedHead.size()), expectedHead) << line;
  ASSERT_GE(line.size(), expectedTail.size());
  EXPECT_EQ(line.substr(line.size() - expectedTail.size()), expectedTail) << line;
  // The holder was started by this test, so its root ancestor is at least this process.
  EXPECT_EQ(line.find("&parentName=&"), std::string::npos) << line;
}
