#pragma once
// Test memory whose last byte touches an inaccessible page, so that reading or writing one
// byte past the end faults at once.
#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#endif

#include <cstdint>
#include <cstring>

class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t size, uint8_t fill = 0) : m_size(size) {
    const size_t usable = (size + kPage - 1) / kPage * kPage;
    m_mapped = usable + kPage;
#ifdef _WIN32
    m_base = static_cast<uint8_t*>(
        VirtualAlloc(nullptr, m_mapped, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD previous;
    VirtualProtect(m_base + usable, kPage, PAGE_NOACCESS, &previous);
#else
    m_base = static_cast<uint8_t*>(
        mmap(nullptr, m_mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(m_base + usable, kPage, PROT_NONE);
#endif
    m_data = m_base + usable - size;
    memset(m_data, fill, size);
  }
  ~GuardedBuffer() {
#ifdef _WIN32
    VirtualFree(m_base, 0, MEM_RELEASE);
#else
    munmap(m_base, m_mapped);
#endif
  }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  uint8_t* data() const { return m_data; }
  size_t size() const { return m_size; }

 private:
  static constexpr size_t kPage = 4096;
  uint8_t* m_base;
  uint8_t* m_data;
  size_t m_size;
  size_t m_mapped;
};
