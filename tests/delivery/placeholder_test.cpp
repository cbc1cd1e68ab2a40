#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <vector>

#include "diag/log_line_queue.h"
#include "filter/vcam.h"
#include "filter/vcam_stream.h"

namespace {

// Corner colours of both stored pictures, blue first: a plain gradient from top to bottom.
const uint8_t kTopColour[3] = {0x2e, 0x22, 0x16};
const uint8_t kBottomColour[3] = {0x73, 0x6f, 0x2f};

class PlaceholderStream : public CVCamStream {
 public:
  PlaceholderStream(CVCam* filter, HRESULT* hr) : CVCamStream(hr, filter, L"placeholder") {}

  void request(int32_t width, int32_t height, int32_t bitCount, uint32_t fourcc) {
    m_widthOutReq = width;
    m_heightOutReq = height;
    m_bitCount = bitCount;
    m_fourcc = fourcc;
  }

  using CVCamStream::m_isFlipHost;
  using CVCamStream::m_placeholderFrame;
};

::testing::AssertionResult pixelNear(const uint8_t* pixel, const uint8_t (&colour)[3]) {
  for (int channel = 0; channel < 3; ++channel) {
    if (std::abs(pixel[channel] - colour[channel]) > 10) {
      return ::testing::AssertionFailure() << "pixel " << int(pixel[0]) << "," << int(pixel[1]) << ","
                                           << int(pixel[2]) << " is not near " << int(colour[0]) << ","
                                           << int(colour[1]) << "," << int(colour[2]);
    }
  }
  if (pixel[3] != 255) return ::testing::AssertionFailure() << "alpha " << int(pixel[3]);
  return ::testing::AssertionSuccess();
}

class Placeholder : public ::testing::Test {
 protected:
  void SetUp() override {
    LogLineQueue::create();
    HRESULT hr = S_OK;
    filter = new CVCam(nullptr, &hr);
    filter->AddRef();
    stream = new PlaceholderStream(filter, &hr);
    ASSERT_EQ(hr, S_OK);
    ASSERT_FALSE(stream->m_isFlipHost);
  }

  void TearDown() override {
    delete stream;
    filter->Release();
  }

  const uint8_t* row(int32_t y) {
    return stream->m_placeholderFrame.plane[0] + y * stream->m_placeholderFrame.stride[0];
  }

  // Average luma of a sample's I420 row.
  static int lumaOfRow(const std::vector<uint8_t>& sample, int32_t width, int32_t y) {
    int sum = 0;
    for (int32_t x = 0; x < width; ++x) sum += sample[size_t(y) * width + x];
    return sum / width;
  }

  CVCam* filter = nullptr;
  PlaceholderStream* stream = nullptr;
};

}  // namespace

TEST_F(Placeholder, FourByThreeRequestsGetTheSmallPictureAllOthersTheWideOne) {
  const struct {
    int32_t width, height, pictureWidth, pictureHeight;
  } cases[] = {
      {640, 480, 640, 480}, {1280, 960, 640, 480}, {1280, 720, 1280, 720}, {1920, 1080, 1280, 720}, {352, 288, 1280, 720},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.width << "x" << c.height);
    stream->request(c.width, c.height, 32, kTagRGBA);
    ASSERT_TRUE(stream->LoadBackground(false));
    EXPECT_EQ(stream->m_placeholderFrame.width, c.pictureWidth);
    EXPECT_EQ(stream->m_placeholderFrame.height, c.pictureHeight);
    EXPECT_EQ(stream->m_placeholderFrame.fourcc, kTagRGB4);
  }
}

TEST_F(Placeholder, ReversedRowsPutTheBottomOfThePictureFirst) {
  for (bool reverseRows : {false, true}) {
    SCOPED_TRACE(reverseRows ? "reversed" : "top first");
    stream->request(1280, 720, 32, kTagRGBA);
    ASSERT_TRUE(stream->LoadBackground(reverseRows));
    const uint8_t(&first)[3] = reverseRows ? kBottomColour : kTopColour;
    const uint8_t(&last)[3] = reverseRows ? kTopColour : kBottomColour;
    EXPECT_TRUE(pixelNear(row(0), first));
    EXPECT_TRUE(pixelNear(row(0) + 4 * 1279, first));
    EXPECT_TRUE(pixelNear(row(719), last));
    EXPECT_TRUE(pixelNear(row(719) + 4 * 1279, last));
  }
}

TEST_F(Placeholder, RgbSampleOfThePictureSizeIsARowForRowCopy) {
  stream->request(640, 480, 32, kTagRGBA);
  ASSERT_TRUE(stream->LoadBackground(true));
  std::vector<uint8_t> sample(640 * 480 * 4, 0);
  stream->copyPlaceholderToSample(sample.data());
  EXPECT_EQ(0, memcmp(sample.data(), stream->m_placeholderFrame.plane[0], sample.size()));
}

TEST_F(Placeholder, RgbSampleIsStretchedToTheRequestedSize) {
  stream->request(640, 480, 32, kTagRGBA);
  ASSERT_TRUE(stream->LoadBackground(false));
  stream->request(320, 90, 24, kTagRGB3);
  std::vector<uint8_t> sample(320 * 90 * 3 + 3, 0xAB);
  stream->copyPlaceholderToSample(sample.data());
  const uint8_t* lastPixel = &sample[(89 * 320 + 319) * 3];
  uint8_t top[4] = {sample[0], sample[1], sample[2], 255};
  uint8_t bottom[4] = {lastPixel[0], lastPixel[1], lastPixel[2], 255};
  EXPECT_TRUE(pixelNear(top, kTopColour));
  EXPECT_TRUE(pixelNear(bottom, kBottomColour));
  EXPECT_EQ(sample[320 * 90 * 3], 0xAB);
}

TEST_F(Placeholder, PlanarSampleIsTopRowFirstFromBottomUpPicture) {
  stream->request(640, 480, 32, kTagRGBA);
  ASSERT_TRUE(stream->LoadBackground(true));
  stream->request(320, 240, 12, kTagI420);
  std::vector<uint8_t> sample(320 * 240 * 3 / 2, 0);
  stream->copyPlaceholderToSample(sample.data());
  // The top of the card is the darker end of its gradient.
  EXPECT_LT(lumaOfRow(sample, 320, 0) + 30, lumaOfRow(sample, 320, 239));
}

TEST_F(Placeholder, PlanarPictureIsConvertedAgainOnlyWhenTheSizeChanges) {
  stream->request(640, 480, 32, kTagRGBA);
  ASSERT_TRUE(stream->LoadBackground(true));
  stream->request(320, 240, 12, kTagI420);
  std::vector<uint8_t> first(320 * 240 * 3 / 2, 0);
  stream->copyPlaceholderToSample(first.data());

  // A white picture shows only if the planar copy is made anew.
  FrameBuffer& picture = stream->m_placeholderFrame;
  memset(picture.data, 0xFF, size_t(picture.width) * picture.height * 4);
  std::vector<uint8_t> same(first.size(), 0);
  stream->copyPlaceholderToSample(same.data());
  EXPECT_EQ(same, first);

  stream->request(160, 120, 12, kTagI420);
  std::vector<uint8_t> smaller(160 * 120 * 3 / 2, 0);
  stream->copyPlaceholderToSample(smaller.data());
  EXPECT_GT(lumaOfRow(smaller, 160, 0), 230);
}

// A whole odd-height conversion writes one chroma row more than the layout holds: the extra U
// row lands on the first V row, and the extra V row past the end of the buffer.
TEST_F(Placeholder, PlanarPictureOfOddHeightKeepsItsChromaInItsPlanes) {
  stream->request(640, 480, 32, kTagRGBA);
  ASSERT_TRUE(stream->LoadBackground(true));
  const int32_t width = 640, height = 481;
  stream->request(width, height, 12, kTagI420);
  std::vector<uint8_t> sample(size_t(width) * height * 3 / 2, 0);
  stream->copyPlaceholderToSample(sample.data());
  const size_t pixels = size_t(width) * height;
  const uint8_t* firstV = sample.data() + pixels + pixels / 4;
  for (int32_t x : {0, width / 4, width / 2 - 1}) {
    EXPECT_NEAR(firstV[x], firstV[width / 2 + x], 4) << x;
  }
}
