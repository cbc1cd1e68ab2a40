#include "host/host_lists.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>

#include "host/paths.h"

namespace {

const char kObsDefaults[] =
    "obs.exe,obs32.exe,obs64.exe,Tolvane.exe,Kestrun.exe,Brindel.exe,Sorvik.exe,Halvern.exe,"
    "Quennet.exe,Ostrel.exe";
const char kFlipDefaults[] = "Pevrin2.exe";
const char kLimitedRgbDefaults[] = "obs.exe,obs32.exe,obs64.exe";

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

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
  return lowered(narrowUtf8(path));
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

std::vector<std::string> parseHostList(const std::string& body) {
  std::vector<std::string> rows;
  size_t start = 0;
  while (start <= body.size()) {
    size_t comma = body.find(',', start);
    if (comma == std::string::npos) comma = body.size();
    std::string row = body.substr(start, comma - start);
    size_t first = row.find_first_not_of(' ');
    size_t last = row.find_last_not_of(' ');
    if (first != std::string::npos) rows.push_back(lowered(row.substr(first, last - first + 1)));
    start = comma + 1;
  }
  return rows;
}

std::vector<std::string> readHostList(const std::wstring& path, const std::string& defaults) {
  std::ifstream file(path.c_str(), std::ios::binary);
  std::string text;
  if (file) text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  std::string body = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? text.substr(3) : text;
  return parseHostList(body.empty() ? defaults : body);
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
