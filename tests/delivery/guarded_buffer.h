#pragma once
// Test memory whose last byte touches an inaccessible page, so that reading or writing one
// byte past the end faults at once.
#include <windows.h>

#include <cstdint>
#include <cstring>

class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t size, uint8_t fill = 0) : m_size(size) {
    const size_t usable = (size + kPage - 1) / kPage * kPage;
    m_base = static_cast<uint8_t*>(
        VirtualAlloc(nullptr, usable + kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD previous;
    VirtualProtect(m_base + usable, kPage, PAGE_NOACCESS, &previous);
    m_data = m_base + usable - size;
    memset(m_data, fill, size);
  }
  ~GuardedBuffer() { VirtualFree(m_base, 0, MEM_RELEASE); }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  uint8_t* data() const { return m_data; }
  size_t size() const { return m_size; }

 private:
  static constexpr size_t kPage = 4096;
  uint8_t* m_base;
  uint8_t* m_data;
  size_t m_size;
};
