#include "tests/media/media_test_support.h"

#include <objidl.h>
#include <uuids.h>

#include <atomic>
#include <memory>
#include <thread>

#include "media/allocator.h"

namespace zarn::test {

IMemAllocator* newMemAllocator() {
  HRESULT hr = S_OK;
  IMemAllocator* allocator = nullptr;
  (new CMemAllocator(nullptr, nullptr, &hr))
      ->NonDelegatingQueryInterface(IID_IMemAllocator, reinterpret_cast<void**>(&allocator));
  return allocator;
}

CMediaType videoType(LONG width, LONG height) {
  CMediaType mt(&MEDIATYPE_Video);
  mt.SetSubtype(&MEDIASUBTYPE_RGB32);
  mt.SetFormatType(&FORMAT_VideoInfo);
  VIDEOINFOHEADER vih = {};
  vih.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  vih.bmiHeader.biWidth = width;
  vih.bmiHeader.biHeight = height;
  vih.bmiHeader.biPlanes = 1;
  vih.bmiHeader.biBitCount = 32;
  vih.bmiHeader.biSizeImage = static_cast<DWORD>(width * height * 4);
  mt.SetFormat(reinterpret_cast<const BYTE*>(&vih), sizeof(vih));
  mt.SetSampleSize(vih.bmiHeader.biSizeImage);
  return mt;
}

namespace {

// Registered once and never revoked: the system may call it as long as blocks it saw live.
struct SizeFailingSpy : IMallocSpy {
  STDMETHODIMP QueryInterface(REFIID, void** ppv) override {
    *ppv = this;
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  // 0 fails the allocation.
  STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T cb) override { return cb == failing ? 0 : cb; }
  STDMETHODIMP_(void*) PostAlloc(void* p) override { return p; }
  STDMETHODIMP_(void*) PreFree(void* p, BOOL) override { return p; }
  STDMETHODIMP_(void) PostFree(BOOL) override {}
  STDMETHODIMP_(SIZE_T) PreRealloc(void* p, SIZE_T cb, void** out, BOOL) override {
    *out = p;
    return cb;
  }
  STDMETHODIMP_(void*) PostRealloc(void* p, BOOL) override { return p; }
  STDMETHODIMP_(void*) PreGetSize(void* p, BOOL) override { return p; }
  STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T cb, BOOL) override { return cb; }
  STDMETHODIMP_(void*) PreDidAlloc(void* p, BOOL) override { return p; }
  STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int actual) override { return actual; }
  STDMETHODIMP_(void) PreHeapMinimize() override {}
  STDMETHODIMP_(void) PostHeapMinimize() override {}
  std::atomic<SIZE_T> failing{0};
};

SizeFailingSpy& spy() {
  static SizeFailingSpy* registered = [] {
    auto* made = new SizeFailingSpy;
    CoRegisterMallocSpy(made);
    return made;
  }();
  return *registered;
}

}  // namespace

FailingAllocation::FailingAllocation(SIZE_T size) { spy().failing = size; }

FailingAllocation::~FailingAllocation() { spy().failing = 0; }

bool waitFor(HANDLE event, const std::function<bool()>& condition, DWORD timeoutMs) {
  const ULONGLONG deadline = GetTickCount64() + timeoutMs;
  for (ULONGLONG now = GetTickCount64(); !condition(); now = GetTickCount64()) {
    if (now >= deadline) {
      return condition();
    }
    event ? WaitForSingleObject(event, static_cast<DWORD>(deadline - now)) : SwitchToThread();
  }
  return true;
}

bool finishesWithin(const std::function<void()>& work, DWORD timeoutMs) {
  auto done = std::shared_ptr<void>(CreateEventW(nullptr, TRUE, FALSE, nullptr), CloseHandle);
  std::thread worker([work, done] {
    work();
    SetEvent(done.get());
  });
  const bool finished = WaitForSingleObject(done.get(), timeoutMs) == WAIT_OBJECT_0;
  finished ? worker.join() : worker.detach();
  return finished;
}

}  // namespace zarn::test
