#pragma once
// Keeps the appends of all processes to the shared log apart. Wine appends by taking the size
// and then writing there, which two processes can interleave.
#include <windows.h>

#include <string>

class LogAppendLock {
 public:
  // Opens or creates the session-wide named mutex of the log file at `path`: writers of other
  // files never wait for this one.
  explicit LogAppendLock(const std::wstring& path);
  ~LogAppendLock();
  LogAppendLock(const LogAppendLock&) = delete;
  LogAppendLock& operator=(const LogAppendLock&) = delete;

  // True once held (a holder that died counts as gone); false if another process kept it for
  // all of `timeoutMs`. Without a mutex there is nothing to wait for, and it is true.
  bool acquire(DWORD timeoutMs);
  void release();

 private:
  HANDLE m_mutex;
};
