#include <gtest/gtest.h>
#include <windows.h>

#include <vector>

#include "tests/delivery/pin_beside_filter.h"
#include "tests/support/fake_clock.h"

namespace {

// Average luma of a sample's I420 row.
int lumaOfRow(const std::vector<uint8_t>& sample, int32_t width, int32_t y) {
  int sum = 0;
  for (int32_t x = 0; x < width; ++x) sum += sample[size_t(y) * width + x];
  return sum / width;
}

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

TEST_F(Placeholder, RgbSampleOfThePictureSizeIsARowForRowCopy) {
  stream->request(640, 480);
  ASSERT_TRUE(stream->LoadBackground(true));
  std::vector<uint8_t> copy(640 * 480 * 4, 0);
  stream->copyPlaceholderToSample(copy.data());
  EXPECT_EQ(0, memcmp(copy.data(), stream->m_placeholderFrame.plane[0], copy.size()));
}

TEST_F(Placeholder, PlanarSampleIsTopRowFirstAndConvertedAgainWhenTheSizeChanges) {
  stream->request(640, 480);
  ASSERT_TRUE(stream->LoadBackground(true));
  stream->request(320, 240, 12, kTagI420);
  std::vector<uint8_t> first(320 * 240 * 3 / 2, 0);
  stream->copyPlaceholderToSample(first.data());
  // The top of the card is the darker end of its gradient.
  EXPECT_LT(lumaOfRow(first, 320, 0) + 30, lumaOfRow(first, 320, 239));

  // A white picture shows only if the planar copy is made anew.
  FrameBuffer& picture = stream->m_placeholderFrame;
  memset(picture.data, 0xFF, size_t(picture.width) * picture.height * 4);
  stream->request(160, 120, 12, kTagI420);
  std::vector<uint8_t> smaller(160 * 120 * 3 / 2, 0);
  stream->copyPlaceholderToSample(smaller.data());
  EXPECT_GT(lumaOfRow(smaller, 160, 0), 230);
}

// A whole odd-height conversion writes one chroma row more than half the height: the layout
// holds it, so the extra U row does not land on the first V row.
TEST_F(Placeholder, PlanarPictureOfOddHeightKeepsItsChromaInItsPlanes) {
  stream->request(640, 480);
  ASSERT_TRUE(stream->LoadBackground(true));
  const int32_t width = 640, height = 481;
  stream->request(width, height, 12, kTagI420);
  const size_t pixels = size_t(width) * height, chroma = size_t(width / 2) * (height / 2 + 1);
  std::vector<uint8_t> sample(pixels + 2 * chroma, 0);
  stream->copyPlaceholderToSample(sample.data());
  const uint8_t* firstV = sample.data() + pixels + chroma;
  for (int32_t x : {0, width / 4, width / 2 - 1}) {
    EXPECT_NEAR(firstV[x], firstV[width / 2 + x], 4) << x;
  }
}
