#pragma once
#include <windows.h>
#include <dshow.h>

#include <functional>

#include "media/media_type.h"

namespace zarn::test {

class ComScope {
 public:
  ComScope() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  ~ComScope() { CoUninitialize(); }
};

// A new CMemAllocator, held once through IMemAllocator.
IMemAllocator* newMemAllocator();

// MEDIATYPE_Video, RGB32, FORMAT_VideoInfo with a width by height frame.
CMediaType videoType(LONG width, LONG height);

// Waits on `event` until `condition` holds, for at most `timeoutMs`; the result is the last answer.
// Without an event it polls, for a state that signals nothing, such as a thread blocked on a lock.
bool waitFor(HANDLE event, const std::function<bool()>& condition, DWORD timeoutMs = 5000);

// Runs `work` on another thread; false, and the thread left to itself, if it hangs.
bool finishesWithin(const std::function<void()>& work, DWORD timeoutMs = 10000);

}  // namespace zarn::test
