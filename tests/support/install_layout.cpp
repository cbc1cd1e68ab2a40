#include "tests/support/install_layout.h"

#include <windows.h>
#include <tlhelp32.h>

#include <algorithm>

namespace zarn::test {
namespace {

const wchar_t kLogVariable[] = L"ZARNCAM_RECORDER_LOG";

bool applicationRuns() {
  HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof(entry);
  BOOL more = Process32FirstW(snapshot, &entry);
  while (more && _wcsicmp(entry.szExeFile, L"zarncam pro.exe") != 0) {
    more = Process32NextW(snapshot, &entry);
  }
  CloseHandle(snapshot);
  return more;
}

}  // namespace

InstallLayout::InstallLayout(Layout layout, const std::wstring& module) {
  wchar_t temp[MAX_PATH] = {};
  GetTempPathW(MAX_PATH, temp);
  static int serial = 0;
  m_root = std::wstring(temp) + L"zarn-install-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
           std::to_wstring(++serial);
  CreateDirectoryW(m_root.c_str(), nullptr);
  CreateDirectoryW((m_root + L"\\bin").c_str(), nullptr);
  m_program = m_root + L"\\bin\\installed-host.exe";
  m_application =
      (layout == Layout::ApplicationOneUp ? m_root : m_root + L"\\bin") + L"\\zarncam pro.exe";
  m_log = m_root + L"\\launches.log";
  if (!module.empty()) m_module = m_root + L"\\bin\\" + module;
  copied = CopyFileW(executablePath().c_str(), m_program.c_str(), FALSE) &&
           CopyFileW((executableFolder() + L"recorder\\zarncam pro.exe").c_str(),
                     m_application.c_str(), FALSE) &&
           (module.empty() ||
            CopyFileW((executableFolder() + module).c_str(), m_module.c_str(), FALSE));
  SetEnvironmentVariableW(kLogVariable, m_log.c_str());
}

InstallLayout::~InstallLayout() {
  SetEnvironmentVariableW(kLogVariable, nullptr);
  for (const std::wstring& file : {m_program, m_application, m_log, m_module}) {
    DeleteFileW(file.c_str());
  }
  RemoveDirectoryW((m_root + L"\\bin").c_str());
  RemoveDirectoryW(m_root.c_str());
}

ChildProcess InstallLayout::start(const std::wstring& arguments) const {
  return ChildProcess::start(m_program, arguments);
}

std::string InstallLayout::waitForLog(size_t lines) const {
  std::string text;
  waitUntil(10000, [&] {
    text = readFileBytes(m_log);
    return size_t(std::count(text.begin(), text.end(), '\n')) >= lines;
  });
  return text;
}

std::optional<std::string> InstallLayout::settledLog() const {
  if (!waitUntil(20000, [] { return !applicationRuns(); })) return std::nullopt;
  return readFileBytes(m_log);
}

}  // namespace zarn::test
