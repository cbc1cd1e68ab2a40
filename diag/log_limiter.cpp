#include "diag/log_limiter.h"

#include <sys/stat.h>

#include <cstdio>
#include <optional>

#include "diag/ansi_text.h"
#include "diag/log_state.h"

namespace {

constexpr UINT_PTR kTimerId = 12299;
constexpr UINT kTimerPeriodMs = 30 * 60 * 1000;
// The log is moved aside once it is larger than this.
constexpr int64_t kRotateAbove = 0x1400000;

std::optional<int64_t> fileSize(const std::string& path) {
  struct _stat64 info;
  if (_stat64(path.c_str(), &info) != 0) return std::nullopt;
  return info.st_size;
}

}  // namespace

void CALLBACK LogLimiterTimerProc(HWND, UINT, UINT_PTR, DWORD) {
  std::string stamp = logTimeStamp();
  beginDirectLine(g_logStream, stamp) << "Timer!!!!" << g_logPath << "  " << g_logOldPath
                                      << "Size:" << fileSize(g_logPath).value_or(0) << std::endl;

  std::optional<int64_t> size = fileSize(g_logPath);
  if (!size || *size <= kRotateAbove) return;

  g_logStream.close();
  std::remove(g_logOldPath.c_str());
  bool renamed = std::rename(g_logPath.c_str(), g_logOldPath.c_str()) == 0;
  // Reopened even when the rename failed: the log is then emptied in place and stays bounded.
  g_logStream.open(fromAnsi(g_logPath), std::ios::out | std::ios::trunc);
  if (renamed) {
    beginDirectLine(g_logStream, stamp) << "log rotated: " << logTimeStamp() << std::endl;
  } else {
    beginDirectLine(g_logStream, stamp) << "Failed to backup the old log file:" << g_logPath << std::endl;
  }
}

LogLimiter::LogLimiter() : m_timerId(SetTimer(nullptr, kTimerId, kTimerPeriodMs, LogLimiterTimerProc)) {
  // Only the host's thread that made the timer can kill it, and that thread may outlive an
  // unload of this module: the module stays loaded so the callback never outlives its code.
  HMODULE self = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<LPCWSTR>(&LogLimiterTimerProc), &self);
  beginDirectLine(g_logStream, logTimeStamp()) << "LogLimiter start"
                                               << " Tid:" << static_cast<uint32_t>(m_timerId) << std::endl;
}

LogLimiter::~LogLimiter() {
  beginDirectLine(g_logStream, logTimeStamp()) << "LogLimiter end"
                                               << " Tid:" << static_cast<uint32_t>(m_timerId) << std::endl;
  KillTimer(nullptr, m_timerId);
  g_logStream.close();
}
