#include <gtest/gtest.h>
#include <windows.h>


#include "tests/delivery/pin_beside_filter.h"
#include "tests/support/fake_clock.h"

namespace {

class Placeholder : public ::testing::Test {
 protected:
  FakeClock clock;
  PinBesideFilter<> pin{clock};
  OpenStream* stream = pin.stream.get();
};

}  // namespace

TEST_F(Placeholder, FourByThreeRequestsGetTheSmallPictureAllOthersTheWideOne) {
  const int32_t cases[][4] = {{640, 480, 640, 480},    {1280, 960, 640, 480}, {1280, 720, 1280, 720},
                              {1920, 1080, 1280, 720}, {352, 288, 1280, 720}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c[0] << "x" << c[1]);
    stream->request(c[0], c[1]);
    ASSERT_TRUE(stream->LoadBackground(false));
    EXPECT_EQ(stream->m_placeholderFrame.width, c[2]);
    EXPECT_EQ(stream->m_placeholderFrame.height, c[3]);
  }
}
