// Every picture a host gets, in every format, at landscape, portrait and square sizes, from every
// source, compared with a reference worked out here pixel by pixel in floating point.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <sstream>
#include <vector>

#include "tests/delivery/frame_writer.h"
#include "tests/delivery/guarded_sample.h"
#include "tests/delivery/pin_beside_filter.h"
#include "tests/gpu/served_texture_helper.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_files.h"

namespace {

// Tolerance per channel (blue, green, red of packed samples; Y, U, V of planar ones), in codes,
// largest and mean over the sample: filters leave a picture of straight ramps all but unchanged,
// but libyuv's enlarging filters weigh by 127ths and truncate, which costs up to 3 codes and 1.7
// on average, and the conversions' fixed-point factors a code. A crop, fit, flip or channel
// mistake moves whole ramps by tens of codes.
constexpr double kMaxError = 6;
constexpr double kMeanError = 2;

constexpr uint32_t kServedId = 91;

struct Colour {
  double r, g, b;
};

// The picture at (u, v), 0 to 1 from its top left corner: red grows to the right, green
// downwards, blue towards the top left, so that no channel, mirror image or row order agrees
// with another.
Colour pictureAt(double u, double v) { return {255 * u, 255 * v, 255 * (1 - (u + v) / 2)}; }

// Limited-range Y, U, V (in r, g, b) of a full-range colour, BT.601 or BT.709.
Colour limitedYuv(Colour c, bool is709) {
  const double kr = is709 ? 0.2126 : 0.299, kb = is709 ? 0.0722 : 0.114;
  const double luma = kr * c.r + (1 - kr - kb) * c.g + kb * c.b;
  return {16 + luma * 219 / 255, 128 + (c.b - luma) / (2 * (1 - kb)) * 224 / 255,
          128 + (c.r - luma) / (2 * (1 - kr)) * 224 / 255};
}

uint8_t code(double value) { return uint8_t(std::lround(std::clamp(value, 0.0, 255.0))); }

// What a source of sw by sh should give: its centred part of the target's shape fills the target
// (crop), or all of it lies centred in the target with its edges repeated around (letterbox).
struct Fitted {
  int sw, sh;
  bool letterbox = false, is709 = false;
  // The colour at point (x, y) of a dw by dh target, in pixels, or YUV in the chosen matrix.
  Colour at(int dw, int dh, double x, double y, bool yuv) const {
    double u = x / dw, v = y / dh;
    const double source = double(sw) / sh, target = double(dw) / dh;
    const double share = std::min(source, target) / std::max(source, target);
    if ((source > target) != letterbox) {
      u = 0.5 + (u - 0.5) * (letterbox ? 1 / share : share);
    } else {
      v = 0.5 + (v - 0.5) * (letterbox ? 1 / share : share);
    }
    const Colour c = pictureAt(std::clamp(u, 0.0, 1.0), std::clamp(v, 0.0, 1.0));
    return yuv ? limitedYuv(c, is709) : c;
  }
};

// Bytes of an image with the channel each belongs to: 0 to 2 (blue, green, red, or red, green,
// blue, or Y, U, V) are compared, 3 (alpha and padding) is not.
struct Image {
  std::vector<double> value;
  std::vector<int> channel;
  void add(double byte, int of) { value.push_back(byte), channel.push_back(of); }
};

// The picture as `fit` shows it in a w by h image at `bitCount`: blue-first rows padded to 4
// bytes, bottom row first unless `topDown`, or red first and top down for `texture`; or I420 or
// NV12 planes (by `fourcc`) top down, chroma from the middle of each 2 by 2.
Image image(int w, int h, int bitCount, uint32_t fourcc, const Fitted& fit, bool topDown,
            bool texture = false) {
  Image out;
  const bool planar = bitCount == 12;
  for (int row = 0; row < h; ++row) {
    const int y = topDown || planar ? row : h - 1 - row;
    for (int x = 0; x < w; ++x) {
      const Colour c = fit.at(w, h, x + 0.5, y + 0.5, planar);
      out.add(texture || planar ? c.r : c.b, 0);
      if (planar) continue;
      out.add(c.g, 1);
      out.add(texture ? c.b : c.r, 2);
      if (bitCount == 32) out.add(255, 3);
    }
    while (!planar && out.value.size() % 4) out.add(0, 3);
  }
  const size_t luma = out.value.size(), quarter = planar ? luma / 4 : 0;
  out.value.resize(luma + 2 * quarter);
  out.channel.resize(luma + 2 * quarter);
  for (size_t at = 0; at < quarter; ++at) {
    const Colour yuv = fit.at(w, h, 2 * int(at % (w / 2)) + 1.0, 2 * int(at / (w / 2)) + 1.0, true);
    const size_t u = luma + (fourcc == kTagNV12 ? 2 * at : at);
    const size_t v = fourcc == kTagNV12 ? u + 1 : u + quarter;
    out.value[u] = yuv.g;
    out.value[v] = yuv.b;
    out.channel[u] = 1;
    out.channel[v] = 2;
  }
  return out;
}

std::vector<uint8_t> codes(const Image& image) {
  std::vector<uint8_t> bytes;
  for (double value : image.value) bytes.push_back(code(value));
  return bytes;
}

::testing::AssertionResult holdsPicture(const uint8_t* sample, const Image& expected) {
  double largest[3] = {}, sum[3] = {};
  long count[3] = {};
  for (size_t i = 0; i < expected.value.size(); ++i) {
    const int channel = expected.channel[i];
    if (channel == 3) continue;
    const double error = std::abs(expected.value[i] - sample[i]);
    largest[channel] = std::max(largest[channel], error);
    sum[channel] += error;
    ++count[channel];
  }
  std::ostringstream report;
  bool within = true;
  for (int channel = 0; channel < 3; ++channel) {
    const double mean = sum[channel] / count[channel];
    within = within && largest[channel] <= kMaxError && mean <= kMeanError;
    report << " channel " << channel << ": max " << largest[channel] << ", mean " << mean;
  }
  return (within ? ::testing::AssertionSuccess() : ::testing::AssertionFailure()) << report.str();
}

enum class Source { MemorySameSize, MemoryScaled, Texture, Placeholder };
const char* const kSourceNames[] = {"memory frame same size", "memory frame scaled",
                                    "texture frame", "placeholder"};

class PictureMatrix : public ::testing::Test {
 protected:
  PictureMatrix() {
    auto reader = std::make_unique<ServedTextureHelper>();
    const Image texture = image(640, 480, 32, 0, {640, 480}, true, true);
    reader->serve(kServedId, DXGI_FORMAT_R8G8B8A8_UNORM, {640, 480, codes(texture)});
    stream->m_pSharedTexHelper = std::move(reader);
    // The stored picture as the memory path keeps it, bottom row first.
    const Image card = image(1280, 720, 32, 0, {1280, 720}, false);
    stream->m_placeholderFrame.resize(1280, 720, kTagRGB4);
    const std::vector<uint8_t> bytes = codes(card);
    std::copy(bytes.begin(), bytes.end(), stream->m_placeholderFrame.plane[0]);
  }

  // Every format, size and kind of host with each of `sources`: a frame of the source goes into
  // the region, and the memory path fills a sample that ends at a guard page.
  void expectPictures(std::initializer_list<Source> sources) {
    const std::pair<int, uint32_t> formats[] = {
        {24, kTagRGB3}, {32, kTagRGB4}, {12, kTagI420}, {12, kTagNV12}};
    const std::pair<int, int> sizes[] = {{640, 480}, {720, 1280}, {480, 480}};
    for (auto [bitCount, fourcc] : formats) {
      for (auto [w, h] : sizes) {
        for (bool flipHost : {false, true}) {
          stream->m_isFlipHost = flipHost;
          stream->request(w, h, bitCount, fourcc);
          for (Source from : sources) {
            SCOPED_TRACE(testing::Message()
                         << std::string(reinterpret_cast<const char*>(&fourcc), 4) << " "
                         << bitCount << " bits " << w << "x" << h << ", " << kSourceNames[int(from)]
                         << (flipHost ? ", flip-list host" : ""));
            const bool same = from == Source::MemorySameSize, texture = from == Source::Texture;
            const int sw = same ? w : texture ? 640 : 1280, sh = same ? h : texture ? 480 : 720;
            CaptureFrameRecord record = frameRecord(sw, sh, ++timestamp);
            // A texture record may claim the target's size: the texture's own size counts.
            if (texture) record = frameRecord(w, h, timestamp, kServedId);
            if (from == Source::Placeholder) record = frameRecord(0, 0, timestamp);
            // The texture says BT.709; memory frames are BT.601, as made here.
            record.is709 = texture;
            if (from == Source::Texture || from == Source::Placeholder) {
              writer.publish(record);
            } else {
              const Image frame = image(sw, sh, bitCount == 12 ? 12 : 32, fourcc, {sw, sh}, false);
              writer.publish(record, codes(frame));
            }
            const Fitted fit = {sw, sh, from == Source::Placeholder, texture};
            const Image expected = image(w, h, bitCount, fourcc, fit, flipHost);
            GuardedSample sample(long(expected.value.size()), 0x5A);
            stream->deliver(&sample.sample);
            EXPECT_TRUE(holdsPicture(sample.memory.data(), expected));
          }
        }
      }
    }
  }

  FakeClock clock;
  PinBesideFilter<> pin{clock};
  OpenStream* stream = pin.stream.get();
  FrameWriter writer{true, kFrameHeaderSize, 1280, 1280};
  uint64_t timestamp = 1000;
};

TEST_F(PictureMatrix, MemoryFramesAndThePlaceholderAreFittedInEveryFormatSizeAndHost) {
  expectPictures({Source::MemorySameSize, Source::MemoryScaled, Source::Placeholder});
}

// Read at the sample's size straight into it, or at another size and scaled like a memory frame.
TEST_F(PictureMatrix, TextureFramesAreFittedAndTurnedLikeMemoryFrames) {
  expectPictures({Source::Texture});
}

// This program links no stored pictures: the one the placeholder needs is missing.
TEST(MissingPicture, IsLookedForOnceNotAtEverySample) {
  FakeClock clock;
  PinBesideFilter<> pin{clock};
  pin.stream->request(640, 480);
  GuardedSample sample(640 * 480 * 4);
  const uint64_t logStart = fileSizeOf(cameraLog());
  for (int i = 0; i < 3; ++i) pin.stream->deliver(&sample.sample);
  EXPECT_EQ(linesContaining(logStart, "CVCamStream::isResolusion_43").size(), 1u);
}

}  // namespace
