#pragma once
// Bounds the log's size: a thread of the module's own that moves a grown log aside every half
// hour. A host's thread timer could outlive an unload of the module; this thread can't.
#include <windows.h>

// One look at the log's size, and a rotation if it has grown too large.
void LogLimiterTimerProc();

class LogLimiter {
 public:
  // Starts the thread.
  LogLimiter();
  // Stops the thread and closes the stream.
  ~LogLimiter();
  LogLimiter(const LogLimiter&) = delete;
  LogLimiter& operator=(const LogLimiter&) = delete;
};

constexpr DWORD kLogLimiterPeriodMs = 30 * 60 * 1000;
// A stop waits this long at most: the thread ends at once unless a rotation is under way.
constexpr DWORD kLogLimiterStopWaitMs = 10000;

// Starts the thread again after stopLogLimiter; does nothing while it runs. Tests give another
// period and work.
void restartLogLimiter(DWORD periodMs = kLogLimiterPeriodMs, void (*work)() = LogLimiterTimerProc);
// Stops the thread and waits for it; the module calls it before it may be unloaded. The
// thread holds a reference on the module while it runs, so it never outlives the code.
void stopLogLimiter(DWORD waitMs = kLogLimiterStopWaitMs);
