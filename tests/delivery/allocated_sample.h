#pragma once
// One sample of `bytes` from the framework's own allocator, as a host's pin would hand it over.
#include <windows.h>
#include <dshow.h>

#include "media/allocator.h"

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
