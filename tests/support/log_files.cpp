#include "tests/support/log_files.h"

#include <windows.h>
#include <shlobj.h>

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

std::string cameraLog() { return userLogFolder() + "zarncamvcam.log"; }

std::vector<std::string> linesContaining(uint64_t from, const std::string& text) {
  const std::string field = " PID=" + std::to_string(GetCurrentProcessId()) + " ";
  std::vector<std::string> found;
  for (const std::string& line : readLines(cameraLog(), from)) {
    if (line.find(field) != std::string::npos && line.find(text) != std::string::npos) {
      found.push_back(line);
    }
  }
  return found;
}
