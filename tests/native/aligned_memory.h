#pragma once
// The C runtime's aligned allocation functions that FrameBuffer uses, for a native build.
// Each block is allocated at its exact size, so the sanitizer sees one byte past it.
#include <malloc.h>

#include <cstdlib>
#include <cstring>

inline void* _aligned_malloc(size_t size, size_t alignment) {
  void* block = nullptr;
  return posix_memalign(&block, alignment, size ? size : 1) == 0 ? block : nullptr;
}

inline void _aligned_free(void* block) { free(block); }

inline void* _aligned_realloc(void* block, size_t size, size_t alignment) {
  if (size == 0) {
    free(block);
    return nullptr;
  }
  void* grown = _aligned_malloc(size, alignment);
  if (!grown) return nullptr;
  if (block) {
    const size_t kept = malloc_usable_size(block);
    memcpy(grown, block, kept < size ? kept : size);
    free(block);
  }
  return grown;
}
