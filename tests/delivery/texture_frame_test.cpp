#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <vector>

#include "delivery/format_tags.h"
#include "link/test_pattern.h"
#include "tests/delivery/frame_writer.h"
#include "tests/delivery/guarded_sample.h"
#include "tests/delivery/pin_beside_filter.h"
#include "tests/gpu/served_texture_helper.h"
#include "tests/support/fake_clock.h"

namespace {

const uint32_t kServedId = 77;
const int kWidth = 64;
const int kHeight = 48;

// The mixer's test pattern, top row first, red first as the reader serves it.
RgbaImage patternImage(int width, int height) {
  std::vector<uint8_t> pixels(size_t(width) * height * 4);
  renderTestPattern(pixels.data(), width, height, {1, 1000});
  return {width, height, exchangeRedBlue(pixels)};
}

class TextureFrames : public ::testing::Test {
 protected:
  void SetUp() override {
    auto reader = std::make_unique<ServedTextureHelper>();
    served = reader.get();
    stream->m_pSharedTexHelper = std::move(reader);
  }

  void publish(uint32_t width, uint32_t height, uint8_t isFullRange,
               uint32_t textureId = kServedId) {
    CaptureFrameRecord record = frameRecord(width, height, ++timestamp, textureId);
    record.is709 = 1;
    record.isFullRange = isFullRange;
    writer.publish(record);
  }

  FakeClock clock;
  PinBesideFilter<> pin{clock};
  OpenStream* stream = pin.stream.get();
  ServedTextureHelper* served = nullptr;
  FrameWriter writer;
  uint64_t timestamp = 5000;
};

// Red, green, blue of the RGB sample pixel (x, y) of the picture: rows bottom first.
std::vector<int> rgbAt(const BYTE* sample, int bytesPerPixel, int width, int height, int x, int y) {
  const BYTE* p = sample + (size_t(height - 1 - y) * width + x) * bytesPerPixel;
  return {p[2], p[1], p[0]};
}

}  // namespace

TEST_F(TextureFrames, TextureOfTheTargetSizeGoesStraightIntoTheSampleBottomRowFirst) {
  const RgbaImage picture = patternImage(kWidth, kHeight);
  served->serve(kServedId, DXGI_FORMAT_B8G8R8A8_UNORM, picture);
  for (int bitCount : {32, 24}) {
    SCOPED_TRACE(bitCount);
    stream->request(kWidth, kHeight, bitCount, kTagRGBA);
    GuardedSample sample(kWidth * kHeight * 4);
    publish(kWidth, kHeight, 1);
    stream->deliver(&sample.sample);
    for (int y : {0, kHeight / 2 - 1, kHeight - 1}) {
      for (int x : {0, kWidth - 1}) {
        const uint8_t* want = &picture.pixels[(size_t(y) * kWidth + x) * 4];
        EXPECT_EQ(rgbAt(sample.memory.data(), bitCount / 8, kWidth, kHeight, x, y),
                  (std::vector<int>{want[0], want[1], want[2]}))
            << "(" << x << ", " << y << ")";
      }
    }
    REFERENCE_TIME start = 0, stop = 0;
    EXPECT_EQ(sample.sample.GetMediaTime(&start, &stop), S_OK);
  }
}

// A sample read straight into is the host's and gone after its frame: a later frame that needs
// scaling must not be read into it, but scaled to fill the sample.
TEST_F(TextureFrames, SampleReadStraightIntoIsNeverWrittenAfterItsFrame) {
  stream->request(kWidth, kHeight, 32, kTagRGBA);
  served->serve(kServedId, DXGI_FORMAT_B8G8R8A8_UNORM, patternImage(kWidth, kHeight));
  {
    GuardedSample direct(kWidth * kHeight * 4);
    publish(kWidth, kHeight, 1);
    stream->deliver(&direct.sample);
  }
  // A texture of another size is another texture, with an id of its own.
  served->serve(kServedId + 1, DXGI_FORMAT_B8G8R8A8_UNORM, patternImage(kWidth / 2, kHeight / 2));
  for (int width : {kWidth, kWidth * 2}) {
    SCOPED_TRACE(width);
    const int height = width * kHeight / kWidth;
    stream->request(width, height, 32, kTagRGBA);
    GuardedSample scaled(width * height * 4);
    publish(kWidth / 2, kHeight / 2, 1, kServedId + 1);
    stream->deliver(&scaled.sample);
    // The lower quadrants, blue and yellow, within what box filtering takes off a solid area.
    for (int x : {width / 4, width * 3 / 4}) {
      const int yellow = x > width / 2 ? 255 : 0;
      const std::vector<int> want = {yellow, yellow, 255 - yellow};
      const std::vector<int> got = rgbAt(scaled.memory.data(), 4, width, height, x, height * 3 / 4);
      for (int channel = 0; channel < 3; ++channel) EXPECT_NEAR(got[channel], want[channel], 4) << x;
    }
  }
}

TEST_F(TextureFrames, LimitedRangeFromTheMixerReachesRgbHostsOnlyWhenListed) {
  served->serve(kServedId, DXGI_FORMAT_R8G8B8A8_UNORM,
                {kWidth, kHeight, std::vector<uint8_t>(size_t(kWidth) * kHeight * 4, 255)});
  const struct {
    uint8_t recordFullRange;
    bool limitedHost;
    int white;
  } cases[] = {{1, true, 255}, {0, false, 255}, {0, true, 235}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << int(c.recordFullRange) << c.limitedHost);
    stream->m_isLimitedRgbHost = c.limitedHost;
    stream->request(kWidth, kHeight, 24, kTagRGBA);
    GuardedSample sample(kWidth * kHeight * 3);
    publish(kWidth, kHeight, c.recordFullRange);
    stream->deliver(&sample.sample);
    EXPECT_EQ(rgbAt(sample.memory.data(), 3, kWidth, kHeight, 5, 5), (std::vector<int>(3, c.white)));
  }
}
