#include "gpu/shared_tex_helper.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "delivery/format_tags.h"
#include "tests/delivery/guarded_buffer.h"
#include "tests/gpu/served_texture_helper.h"

namespace {

const DXGI_FORMAT kRedFirst = DXGI_FORMAT_R8G8B8A8_UNORM;
const DXGI_FORMAT kBlueFirst = DXGI_FORMAT_B8G8R8A8_UNORM;
const uint32_t kTags[] = {kTagRGBA, kTagRGB3, kTagI420, kTagNV12};
const uint8_t kFill = 0xCD;

struct Read {
  bool ok;
  std::vector<uint8_t> bytes;  // RGB rows as they lie; planar as Y, U, V planes
};

// Reads into memory that ends at a guard page right after the image's layout (the one every
// writer keeps: bitmap rows, 4:2:0 chroma rounded up), so a write past the layout faults.
Read readFrame(SharedTexHelper& helper, uint32_t textureId, int width, int height, uint32_t tag,
               bool is709, bool isFullRange) {
  const bool planar = tag == kTagI420 || tag == kTagNV12;
  const int bytesPerRow = planar ? width : tag == kTagRGB3 ? width * 3 : width * 4;
  GuardedBuffer memory(planeLayout(tag, width, height).bytes, kFill);
  FrameBuffer target(memory.data(), width, height, tag);
  Read read = {helper.getFrameFromSharedTex(0, textureId, target, 1, is709, isFullRange), {}};
  for (int y = 0; y < height; ++y) {
    const uint8_t* row = target.plane[0] + y * target.stride[0];
    read.bytes.insert(read.bytes.end(), row, row + bytesPerRow);
  }
  for (int plane = 1; planar && plane < 3; ++plane) {
    for (int y = 0; y < height / 2; ++y) {
      for (int x = 0; x < width / 2; ++x) {
        read.bytes.push_back(tag == kTagNV12
                                 ? target.plane[1][y * target.stride[1] + 2 * x + plane - 1]
                                 : target.plane[plane][y * target.stride[plane] + x]);
      }
    }
  }
  return read;
}

::testing::AssertionResult withinCodes(const Read& read, const std::vector<uint8_t>& expected,
                                       int tolerance) {
  if (!read.ok) return ::testing::AssertionFailure() << "not read";
  if (read.bytes.size() != expected.size()) return ::testing::AssertionFailure() << "size";
  for (size_t i = 0; i < expected.size(); ++i) {
    if (std::abs(read.bytes[i] - expected[i]) > tolerance) {
      return ::testing::AssertionFailure() << "byte " << i << " is " << int(read.bytes[i])
                                           << ", expected " << int(expected[i]);
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace

// Without the shader compiler the processor converts, and the picture is the same.
TEST(SharedTexHelper, BothRoutesMatchReferenceForEveryFormatMatrixAndRange) {
  // Odd sizes must stay within the image's layout.
  for (auto [width, height] : {std::pair{64, 32}, {9, 6}, {8, 9}}) {
    const RgbaImage image = makeTestPattern(width, height);
    for (const wchar_t* compiler : {L"d3dcompiler_47.dll", L"no-compiler.dll"}) {
      for (DXGI_FORMAT format : {kRedFirst, kBlueFirst}) {
        ServedTextureHelper helper(compiler);
        helper.serve(7, format, image);
        for (uint32_t tag : kTags) {
          // One change at a time, so the reader must rebuild for the range alone too.
          for (int variant = 0; variant < 4; ++variant) {
            const bool is709 = variant & 2, isFullRange = (variant ^ variant >> 1) & 1;
            SCOPED_TRACE(testing::Message()
                         << width << "x" << height << " " << compiler << " format " << format
                         << " " << std::string(reinterpret_cast<char*>(&tag), 4) << " is709 "
                         << is709 << " full " << isFullRange);
            const Read read = readFrame(helper, 7, width, height, tag, is709, isFullRange);
            if (tag == kTagRGBA || tag == kTagRGB3) {
              const int bytesPerPixel = tag == kTagRGBA ? 4 : 3;
              EXPECT_TRUE(withinCodes(read, expectedRgb(image, bytesPerPixel, !isFullRange), 0));
              continue;
            }
            // Odd sizes resample in the shaders; there the guard page is the check.
            if (width % 2 || height % 2) {
              EXPECT_TRUE(read.ok);
              continue;
            }
            EXPECT_TRUE(withinCodes(read, expectedPlanar(image, is709, isFullRange), 2));
          }
        }
      }
    }
  }
}

TEST(SharedTexHelper, RefusesWhatItCannotReadAndLeavesTheTargetAlone) {
  const RgbaImage image = makeTestPattern(16, 8);
  ServedTextureHelper helper;
  helper.serve(1, kRedFirst, image);
  helper.serve(2, DXGI_FORMAT_R10G10B10A2_UNORM, image);
  struct { const char* what; uint32_t textureId; int width, height; uint32_t tag; } cases[] = {
      {"no texture id", 0, 16, 8, kTagI420},   {"a handle no adapter opens", 5, 16, 8, kTagI420},
      {"10-bit texture", 2, 16, 8, kTagI420},  {"10-bit texture", 2, 16, 8, kTagRGBA},
      {"narrower target", 1, 14, 8, kTagRGBA}, {"shorter target", 1, 16, 6, kTagNV12},
      {"tag not read", 1, 16, 8, kTagYV12},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Read read = readFrame(helper, c.textureId, c.width, c.height, c.tag, false, true);
    EXPECT_FALSE(read.ok);
    EXPECT_EQ(read.bytes, std::vector<uint8_t>(read.bytes.size(), kFill));
  }
  EXPECT_TRUE(readFrame(helper, 1, 16, 8, kTagI420, false, true).ok);
  // Another texture with the same tag and colours still gets conversion objects of its own size.
  helper.serve(3, kRedFirst, makeTestPattern(8, 4));
  EXPECT_TRUE(withinCodes(readFrame(helper, 3, 8, 4, kTagI420, false, true),
                          expectedPlanar(makeTestPattern(8, 4), false, true), 2));
}
