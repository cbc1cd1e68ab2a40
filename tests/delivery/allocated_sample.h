#pragma once
// One sample of `bytes` from the framework's own allocator, as a host's pin would hand it over.
#include <windows.h>
#include <dshow.h>

#include "media/allocator.h"
#include "media/media_sample.h"
#include "tests/delivery/guarded_buffer.h"

struct AllocatedSample {
  explicit AllocatedSample(long bytes) {
    HRESULT hr = S_OK;
    auto* memory = new CMemAllocator(nullptr, nullptr, &hr);
    memory->NonDelegatingQueryInterface(IID_IMemAllocator, reinterpret_cast<void**>(&allocator));
    ALLOCATOR_PROPERTIES wanted = {1, bytes, 1, 0};
    ALLOCATOR_PROPERTIES actual = {};
    allocator->SetProperties(&wanted, &actual);
    allocator->Commit();
    allocator->GetBuffer(&sample, nullptr, nullptr, 0);
    sample->GetPointer(&pixels);
  }
  ~AllocatedSample() {
    sample->Release();
    allocator->Decommit();
    allocator->Release();
  }
  AllocatedSample(const AllocatedSample&) = delete;
  AllocatedSample& operator=(const AllocatedSample&) = delete;

  IMemAllocator* allocator = nullptr;
  IMediaSample* sample = nullptr;
  BYTE* pixels = nullptr;
};

// A sample over memory that ends at a guard page, unknown to any allocator: a write past its end,
// or into it after it is gone, faults at once.
struct GuardedSample {
  explicit GuardedSample(long bytes, uint8_t fill = 0) : memory(bytes, fill) {}

  GuardedBuffer memory;
  HRESULT hr = S_OK;
  CMediaSample sample{L"guarded", nullptr, &hr, memory.data(), long(memory.size())};
};
