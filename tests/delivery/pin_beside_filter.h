#pragma once
// A test's own pin, built beside the filter's pin, with a test platform in force for its life.
#include <memory>

#include "diag/log_line_queue.h"
#include "filter/vcam.h"
#include "host/platform.h"

template <typename Stream>
class PinBesideFilter {
 public:
  explicit PinBesideFilter(Platform& platform) {
    LogLineQueue::create();
    setPlatform(&platform);
    filter = new CVCam(nullptr, &hr);
    filter->AddRef();
    stream = std::make_unique<Stream>(filter, &hr);
  }
  ~PinBesideFilter() {
    stream.reset();
    filter->Release();
    setPlatform(nullptr);
  }
  PinBesideFilter(const PinBesideFilter&) = delete;
  PinBesideFilter& operator=(const PinBesideFilter&) = delete;

  HRESULT hr = S_OK;
  CVCam* filter = nullptr;
  std::unique_ptr<Stream> stream;
};
