#include "diag/log_file.h"

#include <windows.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cstdio>
#include <string>

#include "diag/ansi_text.h"
#include "diag/log_state.h"
#include "host/process_identity.h"

namespace {

// "<folder><base><suffix>", cut at 519 bytes rather than failing.
std::string logFilePath(const std::string& folder, const char* suffix) {
  char path[520] = {};
  std::snprintf(path, 519, "%s%s%s", folder.c_str(), g_logBaseName.c_str(), suffix);
  return path;
}

}  // namespace

LogFile::LogFile() {
  wchar_t appData[MAX_PATH] = {};
  SHGetSpecialFolderPathW(nullptr, appData, CSIDL_APPDATA, FALSE);
  std::wstring folder = std::wstring(appData) + L"\\zarncam pro\\log\\";
  SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
  std::string narrowFolder = toAnsi(folder);

  g_logPath = logFilePath(narrowFolder, ".log");
  g_logStream.open(fromAnsi(g_logPath));

  std::string stamp = logTimeStamp();
  beginDirectLine(g_logStream, stamp) << std::string(90, '+') << "\n";
  beginDirectLine(g_logStream, stamp) << "program start\n";
  beginDirectLine(g_logStream, stamp)
      << "program name = " << toAnsi(getProcessNameByPid(GetCurrentProcessId())) << "\n";

  g_logOldPath = logFilePath(narrowFolder, ".old.log");

  // Read once per process: the marker takes effect at the next load of the module.
  if (PathFileExistsW((folder + L"debug").c_str())) {
    g_logThreshold = 0;
    g_logStream << logTimeStamp() << ":" << g_logLevelText[1] << "open debug log mode\n";
  }
}

LogFile::~LogFile() {
  beginDirectLine(g_logStream, logTimeStamp()) << "program end\n";
  g_logStream.close();
}
