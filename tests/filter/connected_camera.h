#pragma once
// A camera connected straight to a test sink, as a graph leaves it.
#include "tests/filter/held_filter.h"
#include "tests/media/test_filters.h"

// Held by the test alone once the camera has gone.
struct Sink {
  Sink() { filter->AddRef(); }
  ~Sink() { EXPECT_EQ(filter->Release(), 0u); }
  zarn::test::TestInputPin* pin() const { return filter->pin(); }
  zarn::test::TestSinkFilter* const filter = new zarn::test::TestSinkFilter;
};

// A camera connected to a sink of its own. At the end the host lets go of the downstream side
// alone: the camera must let go of its peer itself.
struct Camera {
  // `accepted` is the one type the sink takes; an empty one takes any.
  explicit Camera(const CMediaType& accepted = CMediaType()) {
    sink.pin()->accepted = accepted;
    connected = held.pin()->Connect(sink.pin(), nullptr);
  }
  ~Camera() { held->Stop(); sink.pin()->Disconnect(); }
  Sink sink;
  HeldFilter held;
  HRESULT connected;
};
