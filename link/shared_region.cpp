#include "link/shared_region.h"

#include <atomic>
#include <string>

#include "diag/log.h"
#include "host/log_throttle.h"

namespace {

// Far above any publication or conversion of a frame, short enough that a stop or a format call
// that meets a hung holder returns.
const DWORD kLockWaitMs = 1000;
const uint32_t kLogIntervalMs = 60000;

std::atomic<uint32_t> g_lastLockTimeoutLine{0};

}  // namespace

SharedRegion::SharedRegion(std::wstring name, bool appendSuffix)
    : m_name(std::move(name)), m_appendSuffix(appendSuffix) {
  const std::wstring mutexName = m_name + L"_Mutex";
  m_mutexHandle = OpenMutexW(MUTEX_ALL_ACCESS, FALSE, mutexName.c_str());
  if (!m_mutexHandle) m_mutexHandle = CreateMutexW(nullptr, FALSE, mutexName.c_str());
}

SharedRegion::~SharedRegion() {
  unmap();
  if (m_mutexHandle) CloseHandle(m_mutexHandle);
}

HANDLE SharedRegion::openMapping(uint32_t size) {
  if (m_mappingHandle) return m_mappingHandle;
  if (m_name.empty()) return nullptr;
  const std::wstring fullName = m_appendSuffix ? m_name + L"_SharedMemory_ZarnMixer" : m_name;
  if (size == 0) {
    m_mappingHandle = OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, fullName.c_str());
  } else {
    m_mappingHandle = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size,
                                         fullName.c_str());
    m_createdNew = GetLastError() != ERROR_ALREADY_EXISTS;
  }
  return m_mappingHandle;
}

bool SharedRegion::mapView(DWORD access) {
  if (!m_view) {
    m_view = static_cast<uint8_t*>(MapViewOfFile(m_mappingHandle, access, 0, 0, 0));
    if (!m_view) {
      CloseHandle(m_mappingHandle);
      m_mappingHandle = nullptr;
      return false;
    }
  }
  MEMORY_BASIC_INFORMATION info = {};
  if (VirtualQuery(m_view, &info, sizeof(info)) == 0) return false;
  m_regionSize = uint32_t(info.RegionSize);
  return true;
}

bool SharedRegion::mapOpen(DWORD access) {
  return openMapping(0) && mapView(access);
}

bool SharedRegion::mapCreate(uint32_t size) {
  return openMapping(size) && mapView(FILE_MAP_WRITE);
}

bool SharedRegion::unmap() {
  bool closed = true;
  if (m_view) UnmapViewOfFile(m_view);
  if (m_mappingHandle) closed = CloseHandle(m_mappingHandle) != FALSE;
  m_view = nullptr;
  m_mappingHandle = nullptr;
  m_regionSize = 0;
  return closed;
}

bool SharedRegion::lock() {
  if (!m_mutexHandle) return true;
  const DWORD result = WaitForSingleObject(m_mutexHandle, m_lockTimedOut ? 0 : kLockWaitMs);
  m_lockTimedOut = result != WAIT_OBJECT_0 && result != WAIT_ABANDONED;
  if (m_lockTimedOut && logLineDue(g_lastLockTimeoutLine, kLogIntervalMs)) {
    LogPrint(1, "SharedRegion: %s_Mutex held by another process past %lu ms; access skipped",
             std::string(m_name.begin(), m_name.end()).c_str(),
             static_cast<unsigned long>(kLockWaitMs));
  }
  return !m_lockTimedOut;
}

void SharedRegion::unlock() {
  if (m_mutexHandle) ReleaseMutex(m_mutexHandle);
}
