#pragma once
// Helpers shared by the media tests: a COM apartment for a test's span, a reference counter,
// a fresh allocator, a small video type, and a bounded wait for a condition that another
// thread makes true.
#include <windows.h>
#include <dshow.h>

#include <functional>

#include "media/media_type.h"

namespace zarn::test {

class ComScope {
 public:
  ComScope() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  ~ComScope() { CoUninitialize(); }
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;
};

// An outer object or format holder that only counts its references.
class CountedUnknown : public IUnknown {
 public:
  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  STDMETHODIMP_(ULONG) AddRef() override { return ++refs; }
  STDMETHODIMP_(ULONG) Release() override { return --refs; }
  ULONG refs = 1;
};

// A new CMemAllocator, held once through IMemAllocator.
IMemAllocator* newMemAllocator();

// MEDIATYPE_Video, RGB32, FORMAT_VideoInfo with a width by height frame.
CMediaType videoType(LONG width, LONG height);

// Polls `condition` until it holds or `timeoutMs` has passed; the result is the last answer.
bool waitUntil(const std::function<bool()>& condition, DWORD timeoutMs = 5000);

}  // namespace zarn::test
