#include "host/mixer_launch.h"

#include <windows.h>
#include <shlwapi.h>

#include <atomic>

#include "diag/ansi_text.h"
#include "diag/log.h"
#include "host/paths.h"
#include "host/platform.h"
#include "host/process_identity.h"
#include "host/url_encode.h"

namespace {

const wchar_t kApplication[] = L"\\zarncam pro.exe";
// Not part of the camera; a running copy would stand in the way of the notice.
const wchar_t kHelperToEnd[] = L"virtualcamhelper.exe";
// A refused host's Intelligent Connect offers the held camera many types in one call: the user
// hears of that attempt once, not once a type.
const uint32_t kNoticeIntervalMs = 2000;

bool noticeDue() {
  static std::atomic<bool> noticed{false};
  static std::atomic<uint32_t> lastNotice{0};
  const uint32_t now = platform().milliseconds();
  if (noticed && now - lastNotice < kNoticeIntervalMs) return false;
  noticed = true;
  lastNotice = now;
  return true;
}

HMODULE codeModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&codeModule), &module);
  return module;
}

std::wstring modulePath(DWORD capacity) {
  std::wstring path(capacity, L'\0');
  path.resize(GetModuleFileNameW(codeModule(), path.data(), capacity));
  return path;
}

std::wstring upOneFolder(const std::wstring& path) {
  size_t slash = path.rfind(L'\\');
  return slash == std::wstring::npos ? path : path.substr(0, slash);
}

}  // namespace

bool launchProcess(const wchar_t* file, const wchar_t* parameters) {
  return platform().launchProgram(file, parameters);
}

bool BootZarnVcamProc() {
  LogPrint(1, "BootZarnVcamProc");
  std::wstring folder = upOneFolder(modulePath(520));
  std::wstring exe = folder + kApplication;
  if (PathFileExistsW(exe.c_str())) {
    LogPrint(1, "BootZarnVcamProc PathFileExists 1");
  } else {
    exe = upOneFolder(folder) + kApplication;
    if (!PathFileExistsW(exe.c_str())) return true;
    LogPrint(1, "BootZarnVcamProc PathFileExists 2");
  }
  launchProcess(exe.c_str(), nullptr);
  return true;
}

void ShowTipsForOpeningProcess(uint32_t holderPid) {
  if (!noticeDue()) return;
  // Unlike the boot, only the installed layout counts here: the application one folder up.
  std::wstring exe = joinPath(upOneFolder(getFilterFolder()), kApplication);
  LogPrint(1, "CVCamStream::ShowTipsForOpeningProcess exe=%s", toAnsi(exe).c_str());
  if (!fileExists(exe)) return;

  std::wstring name = getProcessNameByPid(holderPid);
  uint32_t root = getRootProcessId(holderPid);
  std::wstring parentName = root != 0 ? getProcessImageName(root) : std::wstring();
  LogPrint(1, "CVCamStream::ShowTipsForOpeningProcess: pid=%d pname=%s, parentName=%s", int(holderPid),
           toAnsi(name).c_str(), toAnsi(parentName).c_str());

  terminateProcessesByName(kHelperToEnd);
  std::wstring parameters = L"\"zarncampro://VirtualCamBeUsed/name=" + urlEncode(name) +
                            L"&parentName=" + urlEncode(parentName) + L"&pid=" +
                            std::to_wstring(holderPid) + L"\"";
  launchProcess(exe.c_str(), parameters.c_str());
}

std::wstring getFilterFolder() {
  return upOneFolder(modulePath(1024));
}

std::wstring getTempFolder() {
  wchar_t folder[MAX_PATH + 1] = {};
  GetTempPathW(MAX_PATH, folder);
  return folder;
}

bool fileExists(const std::wstring& path) {
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return false;
  FindClose(search);
  return true;
}
