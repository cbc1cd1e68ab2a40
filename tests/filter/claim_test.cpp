#include <gtest/gtest.h>

#include <memory>

#include "tests/filter/connected_camera.h"
#include "tests/media/media_test_support.h"

namespace {

class CameraClaim : public MixerRecord {
 protected:
  uint32_t claim() { return mixer.getOpeningProcessId(); }
  std::unique_ptr<Camera> connected() {
    auto camera = std::make_unique<Camera>();
    EXPECT_TRUE(camera->connected == S_OK && claim() == self);
    return camera;
  }

  zarn::test::ComScope com;
  const uint32_t self = GetCurrentProcessId();
};

TEST_F(CameraClaim, ACameraThatNeverRanGivesTheClaimBackWhenItLetsGoOfItsConnectionOrGoes) {
  auto camera = connected();
  camera->held.pin()->Disconnect();
  EXPECT_EQ(claim(), 0u);

  connected().reset();
  EXPECT_EQ(claim(), 0u);

  Camera refused(zarn::test::videoType(640, 480));
  EXPECT_TRUE(FAILED(refused.connected));
  EXPECT_EQ(claim(), 0u);

  {
    HeldFilter sized;
    const OutputSizeList sizes = {{640, 360}};
    EXPECT_TRUE(sized.pin()->SetOutputWidthHeight(&sizes) == S_OK && claim() == self);
  }
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
