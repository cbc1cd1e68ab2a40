#pragma once
// Helpers shared by the media tests: a COM apartment for a test's span, a small video type,
// and a bounded wait for a condition that another thread makes true.
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

// MEDIATYPE_Video, RGB32, FORMAT_VideoInfo with a width by height frame.
CMediaType videoType(LONG width, LONG height);

// Polls `condition` until it holds or `timeoutMs` has passed; the result is the last answer.
bool waitUntil(const std::function<bool()>& condition, DWORD timeoutMs = 5000);

}  // namespace zarn::test
