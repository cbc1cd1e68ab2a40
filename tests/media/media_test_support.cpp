#include "tests/media/media_test_support.h"

#include <uuids.h>

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

bool waitUntil(const std::function<bool()>& condition, DWORD timeoutMs) {
  const ULONGLONG deadline = GetTickCount64() + timeoutMs;
  while (!condition()) {
    if (GetTickCount64() >= deadline) {
      return condition();
    }
    Sleep(1);
  }
  return true;
}

}  // namespace zarn::test
