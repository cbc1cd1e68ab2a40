#include "diag/log_limiter.h"

#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <optional>

#include "diag/ansi_text.h"
#include "diag/exclusive_hold.h"
#include "diag/log_state.h"

namespace {

// The log is moved aside once it is larger than this.
constexpr int64_t kRotateAbove = 0x1400000;

SRWLOCK g_limiterLock = SRWLOCK_INIT;
std::atomic<bool> g_limiterRunning{false};
// Set at exit processing, after which no thread may start.
bool g_limiterEnded = false;
HANDLE g_stopEvent = nullptr;
HANDLE g_thread = nullptr;
DWORD g_threadId = 0;

std::optional<int64_t> fileSize(const std::string& path) {
  struct _stat64 info;
  if (_stat64(path.c_str(), &info) != 0) return std::nullopt;
  return info.st_size;
}

// What the thread owns. Its stop event is a handle of its own: a stop that gives up waiting
// closes the stopper's handle, whose value a new object may take while the thread still waits.
struct LimiterThread {
  HANDLE stop;
  DWORD periodMs;
  void (*work)();
};

DWORD WINAPI limiterThread(void* parameter) {
  const LimiterThread* thread = static_cast<LimiterThread*>(parameter);
  while (WaitForSingleObject(thread->stop, thread->periodMs) == WAIT_TIMEOUT) thread->work();
  CloseHandle(thread->stop);
  delete thread;
  HMODULE self = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&limiterThread), &self);
  FreeLibraryAndExitThread(self, 0);
}

void startLocked(DWORD periodMs, void (*work)()) {
  if (g_thread || g_limiterEnded) return;
  HMODULE self = nullptr;
  // Released by the thread as it ends.
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&limiterThread), &self);
  g_stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE threadStop = nullptr;
  DuplicateHandle(GetCurrentProcess(), g_stopEvent, GetCurrentProcess(), &threadStop, 0, FALSE,
                  DUPLICATE_SAME_ACCESS);
  auto* thread = new LimiterThread{threadStop, periodMs, work};
  g_thread = CreateThread(nullptr, 0, limiterThread, thread, 0, &g_threadId);
  if (!g_thread) {
    CloseHandle(threadStop);
    delete thread;
    CloseHandle(g_stopEvent);
    g_stopEvent = nullptr;
    FreeLibrary(self);
    return;
  }
  g_limiterRunning = true;
  beginDirectLine(g_logStream, logTimeStamp()) << "LogLimiter start Tid:" << g_threadId << std::endl;
}

void stopLocked(DWORD waitMs) {
  if (!g_thread) return;
  beginDirectLine(g_logStream, logTimeStamp()) << "LogLimiter end Tid:" << g_threadId << std::endl;
  SetEvent(g_stopEvent);
  WaitForSingleObject(g_thread, waitMs);
  CloseHandle(g_thread);
  CloseHandle(g_stopEvent);
  g_thread = nullptr;
  g_stopEvent = nullptr;
  g_limiterRunning = false;
}

}  // namespace

void LogLimiterTimerProc() {
  std::string stamp = logTimeStamp();
  beginDirectLine(g_logStream, stamp) << "Timer!!!!" << g_logPath << "  " << g_logOldPath
                                      << "Size:" << fileSize(g_logPath).value_or(0) << std::endl;

  std::optional<int64_t> size = fileSize(g_logPath);
  if (!size || *size <= kRotateAbove) return;

  switch (g_logStream.rotate(fromAnsi(g_logPath), fromAnsi(g_logOldPath), kRotateAbove)) {
    case Rotation::kMoved:
      beginDirectLine(g_logStream, stamp) << "log rotated: " << logTimeStamp() << std::endl;
      break;
    case Rotation::kFailed:
      beginDirectLine(g_logStream, stamp) << "Failed to backup the old log file:" << g_logPath << std::endl;
      break;
    case Rotation::kDoneElsewhere:
      break;
  }
}

LogLimiter::LogLimiter() {
  ExclusiveHold hold(g_limiterLock);
  startLocked(kLogLimiterPeriodMs, LogLimiterTimerProc);
}

LogLimiter::~LogLimiter() {
  {
    ExclusiveHold hold(g_limiterLock);
    stopLocked(kLogLimiterStopWaitMs);
    g_limiterEnded = true;
  }
  g_logStream.close();
}

void restartLogLimiter(DWORD periodMs, void (*work)()) {
  if (g_limiterRunning.load(std::memory_order_relaxed)) return;
  ExclusiveHold hold(g_limiterLock);
  startLocked(periodMs, work);
}

void stopLogLimiter(DWORD waitMs) {
  ExclusiveHold hold(g_limiterLock);
  stopLocked(waitMs);
}
