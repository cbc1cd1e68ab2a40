#include <gtest/gtest.h>
#include <dshow.h>

#include <memory>

#include "tests/filter/held_filter.h"
#include "tests/media/media_test_support.h"
#include "tests/media/test_filters.h"

namespace {

// Held by the test alone once the camera has gone.
struct Sink {
  Sink() { filter->AddRef(); }
  ~Sink() { EXPECT_EQ(filter->Release(), 0u); }
  zarn::test::TestInputPin* pin() const { return filter->pin(); }
  zarn::test::TestSinkFilter* const filter = new zarn::test::TestSinkFilter;
};

// A camera of this process connected to a sink of its own, which at the end lets go of the
// downstream side alone, as a host may: the camera must let go of its peer itself.
struct Camera {
  // `accepted` is the one type the sink takes; an empty one takes any.
  explicit Camera(const CMediaType& accepted = CMediaType()) {
    sink.pin()->accepted = accepted;
    connected = held.pin()->Connect(sink.pin(), nullptr);
  }
  ~Camera() {
    held->Stop();
    sink.pin()->Disconnect();
  }
  Sink sink;
  HeldFilter held;
  HRESULT connected;
};

class CameraClaim : public MixerRecord {
 protected:
  uint32_t claim() { return mixer.getOpeningProcessId(); }
  std::unique_ptr<Camera> connected() {
    auto camera = std::make_unique<Camera>();
    EXPECT_EQ(camera->connected, S_OK);
    EXPECT_EQ(claim(), self);
    return camera;
  }

  zarn::test::ComScope com;
  const uint32_t self = GetCurrentProcessId();
};

TEST_F(CameraClaim, ACameraThatNeverRanGivesTheClaimBackWithItsConnection) {
  auto camera = connected();
  camera->held.pin()->Disconnect();
  EXPECT_EQ(claim(), 0u);

  connected().reset();
  EXPECT_EQ(claim(), 0u);

  Camera refused(zarn::test::videoType(640, 480));
  EXPECT_TRUE(FAILED(refused.connected));
  EXPECT_EQ(claim(), 0u);
}

TEST_F(CameraClaim, CamerasOfOneProcessShareTheClaimUntilTheLastLetsGo) {
  auto running = connected();
  ASSERT_EQ(running->held->Run(0), S_OK);
  connected().reset();
  EXPECT_EQ(claim(), self);

  auto second = connected();
  ASSERT_EQ(second->held->Run(0), S_OK);
  EXPECT_EQ(running->held->Stop(), S_OK);
  EXPECT_EQ(claim(), self);
  EXPECT_EQ(second->held->Stop(), S_OK);
  EXPECT_EQ(claim(), 0u);
}

}  // namespace
