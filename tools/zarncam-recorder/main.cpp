// Stands in for the application "zarncam pro.exe" in tests: appends the command line it was
// started with, as one UTF-8 line, to the file named by ZARNCAM_RECORDER_LOG, or else to
// "zarncam pro.log" beside itself. ZARNCAM_RECORDER_LINGER_MS keeps it running that long after.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::wstring environment(const wchar_t* name) {
  wchar_t value[1024] = {};
  DWORD length = GetEnvironmentVariableW(name, value, 1024);
  return length > 0 && length < 1024 ? value : L"";
}

std::wstring logPath() {
  std::wstring path = environment(L"ZARNCAM_RECORDER_LOG");
  if (!path.empty()) return path;
  wchar_t self[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  path = self;
  return path.substr(0, path.rfind(L'\\') + 1) + L"zarncam pro.log";
}

std::string toUtf8(const std::wstring& text) {
  int length = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), nullptr, 0, nullptr, nullptr);
  std::string bytes(size_t(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), bytes.data(), length, nullptr, nullptr);
  return bytes;
}

}  // namespace

int wmain() {
  FILE* log = _wfopen(logPath().c_str(), L"ab");
  if (!log) return 1;
  std::string line = toUtf8(GetCommandLineW()) + "\n";
  std::fwrite(line.data(), 1, line.size(), log);
  std::fclose(log);
  std::wstring linger = environment(L"ZARNCAM_RECORDER_LINGER_MS");
  if (!linger.empty()) Sleep(DWORD(std::wcstoul(linger.c_str(), nullptr, 10)));
  return 0;
}
