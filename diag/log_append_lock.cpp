#include "diag/log_append_lock.h"

#include <cstdint>
#include <cwchar>
#include <cwctype>

namespace {

// A mutex name can't hold the path itself (no backslash, at most MAX_PATH): its hash, taken
// over the spellings that name the same file alike.
std::wstring mutexNameOf(const std::wstring& path) {
  uint64_t hash = 14695981039346656037ull;
  for (wchar_t c : path) {
    hash = (hash ^ uint64_t(c == L'/' ? L'\\' : std::towlower(c))) * 1099511628211ull;
  }
  wchar_t name[64];
  std::swprintf(name, 64, L"ZARNCAM_VCAM_LOG_APPEND_MUTEX_%016llx", static_cast<unsigned long long>(hash));
  return name;
}

}  // namespace

LogAppendLock::LogAppendLock(const std::wstring& path)
    : m_mutex(CreateMutexW(nullptr, FALSE, mutexNameOf(path).c_str())) {}

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
