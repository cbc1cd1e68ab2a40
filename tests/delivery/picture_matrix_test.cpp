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
  bool letterbox, is709;
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

// The picture at sw by sh: 32-bit rows bottom first, blue first (as the mixer gives RGB hosts) or
// top first, red first (a texture); or BT.601 I420 or NV12 planes, chroma from each 2 by 2.
std::vector<uint8_t> source(int sw, int sh, uint32_t layout) {
  std::vector<uint8_t> bytes;
  const bool planar = layout == kTagI420 || layout == kTagNV12, texture = layout == kTagABGR;
  for (int row = 0; row < sh; ++row) {
    const int y = texture || planar ? row : sh - 1 - row;
    for (int x = 0; x < sw; ++x) {
      const Colour c = pictureAt((x + 0.5) / sw, (y + 0.5) / sh);
      if (planar) {
        bytes.push_back(code(limitedYuv(c, false).r));
      } else {
        const double first = texture ? c.r : c.b, third = texture ? c.b : c.r;
        bytes.insert(bytes.end(), {code(first), code(c.g), code(third), 255});
      }
    }
  }
  const size_t quarter = size_t(sw) * sh / 4;
  bytes.resize(planar ? bytes.size() + 2 * quarter : bytes.size());
  for (size_t at = 0; planar && at < quarter; ++at) {
    const int x = int(at % (sw / 2)), y = int(at / (sw / 2));
    const Colour yuv = limitedYuv(pictureAt((2 * x + 1.0) / sw, (2 * y + 1.0) / sh), false);
    uint8_t* chroma = &bytes[size_t(sw) * sh];
    chroma[layout == kTagNV12 ? 2 * at : at] = code(yuv.g);
    chroma[layout == kTagNV12 ? 2 * at + 1 : at + quarter] = code(yuv.b);
  }
  return bytes;
}

// Compares a w by h sample with what it should hold. Packed rows are padded to 4 bytes and lie
// bottom row first, top row first for a flip-list host; planar samples are top row first for
// every host.
::testing::AssertionResult holdsPicture(const uint8_t* sample, int bitCount, uint32_t fourcc,
                                        int w, int h, const Fitted& expected, bool flipHost) {
  double largest[3] = {}, sum[3] = {};
  long count[3] = {};
  auto compare = [&](int channel, double want, uint8_t got) {
    largest[channel] = std::max(largest[channel], std::abs(want - got));
    sum[channel] += std::abs(want - got);
    ++count[channel];
  };
  const int pixelBytes = bitCount / 8;
  const size_t stride = bitCount == 12 ? w : (size_t(w) * pixelBytes + 3) & ~size_t(3);
  for (int row = 0; row < h; ++row) {
    const int y = flipHost || bitCount == 12 ? row : h - 1 - row;
    for (int x = 0; x < w; ++x) {
      const Colour c = expected.at(w, h, x + 0.5, y + 0.5, bitCount == 12);
      const uint8_t* p = sample + row * stride + size_t(x) * std::max(pixelBytes, 1);
      compare(0, bitCount == 12 ? c.r : c.b, p[0]);
      if (bitCount == 12) continue;
      compare(1, c.g, p[1]);
      compare(2, c.r, p[2]);
    }
  }
  const uint8_t* chroma = sample + size_t(w) * h;
  const size_t quarter = size_t(w) * h / 4;
  for (size_t at = 0; bitCount == 12 && at < quarter; ++at) {
    const int x = int(at % (w / 2)), y = int(at / (w / 2));
    const Colour yuv = expected.at(w, h, 2 * x + 1.0, 2 * y + 1.0, true);
    compare(1, yuv.g, chroma[fourcc == kTagNV12 ? 2 * at : at]);
    compare(2, yuv.b, chroma[fourcc == kTagNV12 ? 2 * at + 1 : at + quarter]);
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
    served = reader.get();
    stream->m_pSharedTexHelper = std::move(reader);
    const std::vector<uint8_t> texture = source(640, 480, kTagABGR);
    served->serve(kServedId, DXGI_FORMAT_R8G8B8A8_UNORM, {640, 480, texture});
    // The stored picture as the memory path keeps it, bottom row first.
    const std::vector<uint8_t> card = source(1280, 720, kTagRGB4);
    stream->m_placeholderFrame.resize(1280, 720, kTagRGB4);
    std::copy(card.begin(), card.end(), stream->m_placeholderFrame.plane[0]);
  }

  // Puts a frame of `from` into the region and has the memory path fill a sample.
  Fitted deliver(Source from, int bitCount, uint32_t fourcc, int w, int h, IMediaSample* sample) {
    const int sw = from == Source::MemorySameSize ? w : from == Source::Texture ? 640 : 1280;
    const int sh = from == Source::MemorySameSize ? h : from == Source::Texture ? 480 : 720;
    CaptureFrameRecord record = frameRecord(sw, sh, ++timestamp);
    if (from == Source::Texture) {
      record = frameRecord(sw, sh, timestamp, kServedId);
      record.is709 = 1;
    }
    if (from == Source::Placeholder) record = frameRecord(0, 0, timestamp);
    writer.publish(record, source(sw, sh, bitCount == 12 ? fourcc : kTagRGB4));
    stream->deliver(sample);
    return {sw, sh, from == Source::Placeholder, from == Source::Texture};
  }

  // Every format, size and kind of host with each of `sources`.
  void expectPictures(std::initializer_list<Source> sources) {
    const std::pair<int, uint32_t> formats[] = {
        {24, kTagRGB3}, {32, kTagRGB4}, {12, kTagI420}, {12, kTagNV12}};
    const std::pair<int, int> sizes[] = {{640, 480}, {720, 1280}, {480, 480}};
    for (auto [bitCount, fourcc] : formats) {
      for (auto [w, h] : sizes) {
        const size_t bytes = bitCount == 12 ? size_t(w) * h * 3 / 2
                                            : ((size_t(w) * bitCount / 8 + 3) & ~size_t(3)) * h;
        for (bool flipHost : {false, true}) {
          stream->m_isFlipHost = flipHost;
          stream->request(w, h, bitCount, fourcc);
          for (Source from : sources) {
            SCOPED_TRACE(testing::Message()
                         << std::string(reinterpret_cast<const char*>(&fourcc), 4) << " "
                         << bitCount << " bits " << w << "x" << h << ", "
                         << kSourceNames[int(from)] << (flipHost ? ", flip-list host" : ""));
            GuardedSample sample(long(bytes), 0x5A);
            const Fitted expected = deliver(from, bitCount, fourcc, w, h, &sample.sample);
            EXPECT_TRUE(holdsPicture(sample.memory.data(), bitCount, fourcc, w, h, expected,
                                     flipHost));
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
