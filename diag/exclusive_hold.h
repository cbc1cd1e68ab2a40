#pragma once
#include <windows.h>

// Holds an SRW lock exclusively for its scope.
class ExclusiveHold {
 public:
  explicit ExclusiveHold(SRWLOCK& lock) : m_lock(lock) { AcquireSRWLockExclusive(&m_lock); }
  ~ExclusiveHold() { ReleaseSRWLockExclusive(&m_lock); }
  ExclusiveHold(const ExclusiveHold&) = delete;
  ExclusiveHold& operator=(const ExclusiveHold&) = delete;

 private:
  SRWLOCK& m_lock;
};
