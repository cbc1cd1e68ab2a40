#pragma once
// A named file mapping with its view, and the named mutex that serialises every process using
// it. Named objects are opened first and created only when that fails.
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>

class SharedRegion {
 public:
  // Opens or creates the mutex "<name>_Mutex" at once; the mapping waits for mapOpen/mapCreate.
  SharedRegion(std::wstring name, bool appendSuffix);
  ~SharedRegion();
  SharedRegion(const SharedRegion&) = delete;
  SharedRegion& operator=(const SharedRegion&) = delete;

  // Maps all of an existing mapping with FILE_MAP_READ or FILE_MAP_WRITE. False when there is
  // none; also when its size can't be queried, though the view then stays.
  bool mapOpen(DWORD access);
  // Creates (or opens, if another process was quicker) a mapping of `size` bytes and maps it
  // writable.
  bool mapCreate(uint32_t size);
  // Drops the view and the mapping handle; the mutex stays. False only if closing fails.
  bool unmap();

  // True once the mutex is held; an abandoned one counts as acquired, and without a mutex there
  // is nothing to wait for. The holder may be another process that hangs, so the wait is
  // bounded: false after a time-out, and then no wait at all until a lock succeeds again, so that
  // a stuck holder costs one wait rather than one per access.
  bool lock();
  // Only after a lock() that gave true.
  void unlock();

  uint8_t* view() const { return m_view; }
  uint32_t regionSize() const { return m_regionSize; }
  HANDLE mappingHandle() const { return m_mappingHandle; }
  bool createdNew() const { return m_createdNew; }

  // Holds the mutex for one scope, if the lock succeeded: false when it timed out.
  class Hold {
   public:
    explicit Hold(SharedRegion& region) : m_region(region), m_held(region.lock()) {}
    ~Hold() {
      if (m_held) m_region.unlock();
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    explicit operator bool() const { return m_held; }

   private:
    SharedRegion& m_region;
    const bool m_held;
  };

 private:
  HANDLE openMapping(uint32_t size);
  bool mapView(DWORD access);

  std::wstring m_name;
  bool m_appendSuffix;
  bool m_createdNew = false;
  HANDLE m_mappingHandle = nullptr;
  uint32_t m_regionSize = 0;
  uint8_t* m_view = nullptr;
  HANDLE m_mutexHandle = nullptr;
  // The host's thread and the stream's worker both lock the parameter region.
  std::atomic<bool> m_lockTimedOut{false};
};
