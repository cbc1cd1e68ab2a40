#pragma once
// A sample over memory that ends at a guard page, unknown to any allocator: a write past its end,
// or into it after it is gone, faults at once.
#include <windows.h>
#include <dshow.h>

#include "media/media_sample.h"
#include "tests/delivery/guarded_buffer.h"

struct GuardedSample {
  explicit GuardedSample(long bytes, uint8_t fill = 0) : memory(bytes, fill) {}

  GuardedBuffer memory;
  HRESULT hr = S_OK;
  CMediaSample sample{L"guarded", nullptr, &hr, memory.data(), long(memory.size())};
};
