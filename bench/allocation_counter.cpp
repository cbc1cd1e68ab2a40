#include "bench/allocation_counter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<uint64_t> g_operatorNew{0};
std::atomic<uint64_t> g_cHeap{0};
}  // namespace

AllocationCount allocationsSoFar() { return {g_operatorNew.load(), g_cHeap.load()}; }

// The linker sends every direct call of malloc, calloc and realloc here (--wrap), libyuv's
// row buffers among them.
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);

void* __wrap_malloc(size_t size) {
  ++g_cHeap;
  return __real_malloc(size);
}

void* __wrap_calloc(size_t count, size_t size) {
  ++g_cHeap;
  return __real_calloc(count, size);
}

void* __wrap_realloc(void* block, size_t size) {
  ++g_cHeap;
  return __real_realloc(block, size);
}
}

void* operator new(size_t size) {
  ++g_operatorNew;
  if (void* block = __real_malloc(size ? size : 1)) return block;
  throw std::bad_alloc();
}

void* operator new[](size_t size) { return operator new(size); }
void operator delete(void* block) noexcept { free(block); }
void operator delete[](void* block) noexcept { free(block); }
void operator delete(void* block, size_t) noexcept { free(block); }
void operator delete[](void* block, size_t) noexcept { free(block); }
