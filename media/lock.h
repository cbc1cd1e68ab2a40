#pragma once

#include <windows.h>

// A recursive critical section: the same thread may enter it again.
class CCritSec {
 public:
  CCritSec() { InitializeCriticalSection(&m_CritSec); }
  ~CCritSec() { DeleteCriticalSection(&m_CritSec); }
  CCritSec(const CCritSec&) = delete;
  CCritSec& operator=(const CCritSec&) = delete;

  void Lock() { EnterCriticalSection(&m_CritSec); }
  void Unlock() { LeaveCriticalSection(&m_CritSec); }

 private:
  CRITICAL_SECTION m_CritSec;
};

// Holds a CCritSec for the lifetime of the scope.
class CAutoLock {
 public:
  explicit CAutoLock(CCritSec* plock) : m_pLock(plock) { m_pLock->Lock(); }
  ~CAutoLock() { m_pLock->Unlock(); }
  CAutoLock(const CAutoLock&) = delete;
  CAutoLock& operator=(const CAutoLock&) = delete;

 private:
  CCritSec* m_pLock;
};
