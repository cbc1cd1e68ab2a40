#include "diag/log_append_lock.h"

LogAppendLock::LogAppendLock() : m_mutex(CreateMutexW(nullptr, FALSE, L"ZARNCAM_VCAM_LOG_APPEND_MUTEX")) {}

LogAppendLock::~LogAppendLock() {
  if (m_mutex) CloseHandle(m_mutex);
}

bool LogAppendLock::acquire(DWORD timeoutMs) {
  if (!m_mutex) return true;
  const DWORD result = WaitForSingleObject(m_mutex, timeoutMs);
  return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

void LogAppendLock::release() {
  if (m_mutex) ReleaseMutex(m_mutex);
}
