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
constexpr uint8_t kUnwritten = 0x5A;

struct Colour {
  double r, g, b;
};

// The picture at (u, v), 0 to 1 from its top left corner: red grows to the right, green
// downwards, blue towards the top left, so that no channel, mirror image or row order agrees
// with another.
Colour pictureAt(double u, double v) { return {255 * u, 255 * v, 255 * (1 - (u + v) / 2)}; }

// Limited-range Y, U, V of a full-range colour, BT.601 or BT.709.
Colour limitedYuv(Colour c, bool is709) {
  const double kr = is709 ? 0.2126 : 0.299, kb = is709 ? 0.0722 : 0.114;
  const double luma = kr * c.r + (1 - kr - kb) * c.g + kb * c.b;
  return {16 + luma * 219 / 255, 128 + (c.b - luma) / (2 * (1 - kb)) * 224 / 255,
          128 + (c.r - luma) / (2 * (1 - kr)) * 224 / 255};
}

uint8_t code(double value) { return uint8_t(std::lround(std::clamp(value, 0.0, 255.0))); }

enum class Fit { Crop, Letterbox };

// Where the point (x, y) of a dw by dh target, in pixels, lies in a sw by sh picture: the centred
// part of the picture with the target's shape fills it, or the whole picture lies centred in it
// and its margins repeat the picture's edges.
Colour pictureSeenAt(Fit fit, int sw, int sh, int dw, int dh, double x, double y) {
  double u = x / dw, v = y / dh;
  const double source = double(sw) / sh, target = double(dw) / dh;
  const double share = fit == Fit::Crop ? std::min(source, target) / std::max(source, target)
                                        : std::max(source, target) / std::min(source, target);
  if ((source > target) == (fit == Fit::Crop)) {
    u = 0.5 + (u - 0.5) * share;
  } else {
    v = 0.5 + (v - 0.5) * share;
  }
  return pictureAt(std::clamp(u, 0.0, 1.0), std::clamp(v, 0.0, 1.0));
}

// 32-bit blue-first pixels of the picture at sw by sh, bottom row first as RGB samples hold them.
std::vector<uint8_t> packedPicture(int sw, int sh) {
  std::vector<uint8_t> bytes;
  for (int y = sh - 1; y >= 0; --y) {
    for (int x = 0; x < sw; ++x) {
      const Colour c = pictureAt((x + 0.5) / sw, (y + 0.5) / sh);
      bytes.insert(bytes.end(), {code(c.b), code(c.g), code(c.r), 255});
    }
  }
  return bytes;
}

// BT.601 planar pixels of the picture at sw by sh (both even), top row first: Y, then U and V
// planes, or interleaved UV pairs for NV12. Chroma is the picture at the middle of each 2 by 2.
std::vector<uint8_t> planarPicture(int sw, int sh, bool nv12) {
  std::vector<uint8_t> bytes(size_t(sw) * sh * 3 / 2);
  for (int y = 0; y < sh; ++y) {
    for (int x = 0; x < sw; ++x) {
      const Colour yuv = limitedYuv(pictureAt((x + 0.5) / sw, (y + 0.5) / sh), false);
      bytes[size_t(y) * sw + x] = code(yuv.r);
    }
  }
  uint8_t* u = &bytes[size_t(sw) * sh];
  uint8_t* v = u + size_t(sw) * sh / 4;
  for (int y = 0; y < sh / 2; ++y) {
    for (int x = 0; x < sw / 2; ++x) {
      const Colour yuv = limitedYuv(pictureAt((2 * x + 1.0) / sw, (2 * y + 1.0) / sh), false);
      const size_t at = size_t(y) * (sw / 2) + x;
      if (nv12) {
        u[at * 2] = code(yuv.g);
        u[at * 2 + 1] = code(yuv.b);
      } else {
        u[at] = code(yuv.g);
        v[at] = code(yuv.b);
      }
    }
  }
  return bytes;
}

RgbaImage texturePicture(int sw, int sh) {
  RgbaImage image = {sw, sh, {}};
  for (int y = 0; y < sh; ++y) {
    for (int x = 0; x < sw; ++x) {
      const Colour c = pictureAt((x + 0.5) / sw, (y + 0.5) / sh);
      image.pixels.insert(image.pixels.end(), {code(c.r), code(c.g), code(c.b), 255});
    }
  }
  return image;
}

struct Format {
  const char* name;
  int32_t bitCount;
  uint32_t fourcc;
};

enum class Source { MemorySameSize, MemoryScaled, Texture, Placeholder };
const char* const kSourceNames[] = {"memory frame same size", "memory frame scaled",
                                    "texture frame", "placeholder"};

// What a sample should hold: the picture from a sw by sh source, fitted, in a matrix for planar.
struct Expected {
  int sw, sh;
  Fit fit;
  bool is709;
};

// Largest and mean difference per channel, and the first place of the largest.
class Differences {
 public:
  void add(int channel, double expected, uint8_t actual, int x, int y) {
    const double error = std::abs(expected - actual);
    if (error > m_max[channel]) {
      m_max[channel] = error;
      m_where[channel] = {x, y};
    }
    m_sum[channel] += error;
    ++m_count[channel];
  }
  ::testing::AssertionResult withinTolerance() const {
    std::ostringstream report;
    bool within = true;
    for (int channel = 0; channel < 3; ++channel) {
      const double mean = m_count[channel] ? m_sum[channel] / m_count[channel] : 255;
      within = within && m_max[channel] <= kMaxError && mean <= kMeanError;
      report << " channel " << channel << ": max " << m_max[channel] << " at ("
             << m_where[channel].first << ", " << m_where[channel].second << "), mean " << mean;
    }
    return (within ? ::testing::AssertionSuccess() : ::testing::AssertionFailure()) << report.str();
  }

 private:
  double m_max[3] = {}, m_sum[3] = {};
  long m_count[3] = {};
  std::pair<int, int> m_where[3] = {};
};

// Compares a w by h sample with the picture it should hold. Packed rows are padded to 4 bytes
// and lie bottom row first, top row first for a flip-list host; planar samples are top row first
// for every host.
::testing::AssertionResult holdsPicture(const uint8_t* sample, const Format& format, int w, int h,
                                        const Expected& e, bool flipHost) {
  Differences differences;
  if (format.bitCount != 12) {
    const int bytesPerPixel = format.bitCount / 8;
    const size_t stride = (size_t(w) * bytesPerPixel + 3) & ~size_t(3);
    for (int row = 0; row < h; ++row) {
      const int y = flipHost ? row : h - 1 - row;
      for (int x = 0; x < w; ++x) {
        const Colour c = pictureSeenAt(e.fit, e.sw, e.sh, w, h, x + 0.5, y + 0.5);
        const uint8_t* p = sample + row * stride + size_t(x) * bytesPerPixel;
        differences.add(0, c.b, p[0], x, y);
        differences.add(1, c.g, p[1], x, y);
        differences.add(2, c.r, p[2], x, y);
      }
    }
    return differences.withinTolerance();
  }
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const Colour c = pictureSeenAt(e.fit, e.sw, e.sh, w, h, x + 0.5, y + 0.5);
      differences.add(0, limitedYuv(c, e.is709).r, sample[size_t(y) * w + x], x, y);
    }
  }
  const uint8_t* chroma = sample + size_t(w) * h;
  const bool nv12 = format.fourcc == kTagNV12;
  for (int y = 0; y < h / 2; ++y) {
    for (int x = 0; x < w / 2; ++x) {
      const Colour yuv =
          limitedYuv(pictureSeenAt(e.fit, e.sw, e.sh, w, h, 2 * x + 1.0, 2 * y + 1.0), e.is709);
      const size_t at = size_t(y) * (w / 2) + x;
      differences.add(1, yuv.g, nv12 ? chroma[at * 2] : chroma[at], x, y);
      differences.add(2, yuv.b, nv12 ? chroma[at * 2 + 1] : chroma[at + size_t(w) * h / 4], x, y);
    }
  }
  return differences.withinTolerance();
}

class PictureMatrix : public ::testing::Test {
 protected:
  PictureMatrix() {
    auto reader = std::make_unique<ServedTextureHelper>();
    served = reader.get();
    stream->m_pSharedTexHelper = std::move(reader);
    served->serve(kServedId, DXGI_FORMAT_R8G8B8A8_UNORM, texturePicture(640, 480));
    // The stored picture as the memory path keeps it, bottom row first.
    const std::vector<uint8_t> card = packedPicture(1280, 720);
    stream->m_placeholderFrame.resize(1280, 720, kTagRGB4);
    std::copy(card.begin(), card.end(), stream->m_placeholderFrame.plane[0]);
  }

  // Puts a frame of the source into the region and has the memory path fill a sample.
  Expected deliver(Source source, const Format& format, int w, int h, IMediaSample* sample) {
    const bool planar = format.bitCount == 12;
    switch (source) {
      case Source::MemorySameSize:
      case Source::MemoryScaled: {
        const int sw = source == Source::MemoryScaled ? 1280 : w;
        const int sh = source == Source::MemoryScaled ? 720 : h;
        writer.publish(frameRecord(sw, sh, ++timestamp),
                       planar ? planarPicture(sw, sh, format.fourcc == kTagNV12)
                              : packedPicture(sw, sh));
        stream->deliver(sample);
        return {sw, sh, Fit::Crop, false};
      }
      case Source::Texture: {
        CaptureFrameRecord record = frameRecord(640, 480, ++timestamp, kServedId);
        record.is709 = 1;
        record.isFullRange = 0;
        writer.publish(record);
        stream->deliver(sample);
        return {640, 480, Fit::Crop, true};
      }
      case Source::Placeholder:
        writer.publish(frameRecord(0, 0, ++timestamp));
        stream->deliver(sample);
        return {1280, 720, Fit::Letterbox, false};
    }
    return {};
  }

  // Every format, size and host kind with each of `sources`.
  void expectPictures(std::initializer_list<Source> sources) {
    const Format formats[] = {{"RGB24", 24, kTagRGB3}, {"RGB32", 32, kTagRGB4},
                              {"I420", 12, kTagI420}, {"NV12", 12, kTagNV12}};
    const int sizes[][2] = {{640, 480}, {720, 1280}, {480, 480}};
    for (const Format& format : formats) {
      for (const auto& size : sizes) {
        const int w = size[0], h = size[1];
        const size_t bytes = format.bitCount == 12
                                 ? size_t(w) * h * 3 / 2
                                 : ((size_t(w) * format.bitCount / 8 + 3) & ~size_t(3)) * h;
        for (bool flipHost : {false, true}) {
          stream->m_isFlipHost = flipHost;
          stream->request(w, h, format.bitCount, format.fourcc);
          for (Source source : sources) {
            SCOPED_TRACE(testing::Message() << format.name << " " << w << "x" << h << ", "
                                            << kSourceNames[int(source)] << ", "
                                            << (flipHost ? "flip-list host" : "plain host"));
            GuardedSample sample(long(bytes), kUnwritten);
            const Expected expected = deliver(source, format, w, h, &sample.sample);
            EXPECT_TRUE(holdsPicture(sample.memory.data(), format, w, h, expected, flipHost));
          }
        }
      }
    }
  }

  FakeClock clock;
  PinBesideFilter<> pin{clock};
  OpenStream* stream = pin.stream.get();
  ServedTextureHelper* served = nullptr;
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
