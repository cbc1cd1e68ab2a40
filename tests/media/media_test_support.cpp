#include "tests/media/media_test_support.h"

#include <uuids.h>

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
