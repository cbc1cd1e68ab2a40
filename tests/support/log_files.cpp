#include "tests/support/log_files.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "diag/ansi_text.h"

const char kLogStampPattern[] = R"(^[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\d \d\d:\d\d:\d\d \d{4})";

std::string userLogFolder() {
  wchar_t appData[MAX_PATH] = {};
  SHGetSpecialFolderPathW(nullptr, appData, CSIDL_APPDATA, FALSE);
  return toAnsi(appData) + "\\zarncam pro\\log\\";
}

uint64_t fileSizeOf(const std::string& path) {
  std::error_code error;
  uint64_t size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

std::vector<std::string> readLines(const std::string& path, uint64_t from) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(from));
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> linesOfPid(const std::vector<std::string>& lines, uint32_t pid) {
  const std::string field = " PID=" + std::to_string(pid) + " ";
  std::vector<std::string> own;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(own),
               [&](const std::string& line) { return line.find(field) != std::string::npos; });
  return own;
}
