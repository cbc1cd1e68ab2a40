#include "host/host_lists.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "host/host_list_text.h"
#include "host/paths.h"

namespace {

const char kObsDefaults[] =
    "obs.exe,obs32.exe,obs64.exe,Tolvane.exe,Kestrun.exe,Brindel.exe,Sorvik.exe,Halvern.exe,"
    "Quennet.exe,Ostrel.exe";
const char kFlipDefaults[] = "Pevrin2.exe";
const char kLimitedRgbDefaults[] = "obs.exe,obs32.exe,obs64.exe";

std::string narrowUtf8(const std::wstring& text) {
  int bytes = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
  std::string narrow(bytes > 0 ? bytes - 1 : 0, '\0');
  if (bytes > 1) {
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, narrow.data(), bytes, nullptr, nullptr);
  }
  return narrow;
}

std::string hostPath() {
  wchar_t path[1024] = {};
  GetModuleFileNameW(nullptr, path, 1024);
  return lowerCased(narrowUtf8(path));
}

std::string hostFileName() {
  std::string path = hostPath();
  size_t slash = path.find_last_of('\\');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::vector<std::string> listFromAppData(const wchar_t* relativeName, const char* defaults) {
  return readHostList(joinPath(getAppDataFolder(), relativeName), defaults);
}

// The containment test has no word boundary: a folder or a file name that holds a row matches.
bool anyRowContained(const std::vector<std::string>& rows, const std::string& hostPathText) {
  return std::any_of(rows.begin(), rows.end(), [&](const std::string& row) {
    return hostPathText.find(row) != std::string::npos;
  });
}

}  // namespace

std::vector<std::string> readHostList(const std::wstring& path, const std::string& defaults) {
  std::ifstream file(path.c_str(), std::ios::binary);
  std::string text;
  if (file) text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return hostListRows(text, defaults);
}

bool isHostInObsProcessList() {
  return anyRowContained(listFromAppData(L"\\zarncam pro\\obs_process_list", kObsDefaults),
                         hostPath());
}

bool isHostInFlipList() { return anyRowContained(parseHostList(kFlipDefaults), hostPath()); }

bool isHostInLimitedRgbList() {
  auto rows = listFromAppData(L"\\zarncam pro\\limited_rgb_process_list", kLimitedRgbDefaults);
  return std::find(rows.begin(), rows.end(), hostFileName()) != rows.end();
}
