#pragma once
// Bounds the log's size: a thread timer that moves a grown log aside and starts a new one.
#include <windows.h>

// Runs on the thread that made the first log line, when that thread dispatches messages.
void CALLBACK LogLimiterTimerProc(HWND window, UINT message, UINT_PTR timerId, DWORD time);

class LogLimiter {
 public:
  LogLimiter();
  // Closes the stream and kills the timer, which works only on the thread that made it.
  ~LogLimiter();
  LogLimiter(const LogLimiter&) = delete;
  LogLimiter& operator=(const LogLimiter&) = delete;

 private:
  UINT_PTR m_timerId;
};
