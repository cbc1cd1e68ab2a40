#include <gtest/gtest.h>
#include <windows.h>
#include <dshow.h>

#include <algorithm>
#include <cstring>

#include "diag/log_line_queue.h"
#include "filter/vcam.h"
#include "filter/vcam_stream.h"
#include "link/capture_share_memory_mgr.h"
#include "link/frame_region_layout.h"
#include "link/test_pattern.h"
#include "media/allocator.h"
#include "tests/support/child_process.h"
#include "tests/support/install_layout.h"

using zarn::test::ChildProcess;
using zarn::test::InstallLayout;
using zarn::test::Layout;

namespace {

const wchar_t kFrameRegionBaseName[] = L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY";
// The pin's requested format until a host sets one: 1280 by 720 at 32 bits.
const int kWidth = 1280;
const int kHeight = 720;

// A camera as a host holds it, with one sample of the requested size from a real allocator.
struct CameraWithSample {
  CameraWithSample() {
    LogLineQueue::create();
    HRESULT hr = S_OK;
    filter = static_cast<CVCam*>(CVCam::CreateInstance(nullptr, &hr));
    filter->AddRef();
    auto* memory = new CMemAllocator(nullptr, nullptr, &hr);
    memory->NonDelegatingQueryInterface(IID_IMemAllocator, reinterpret_cast<void**>(&allocator));
    ALLOCATOR_PROPERTIES wanted = {1, kWidth * kHeight * 4, 1, 0};
    ALLOCATOR_PROPERTIES actual = {};
    allocator->SetProperties(&wanted, &actual);
    allocator->Commit();
    allocator->GetBuffer(&sample, nullptr, nullptr, 0);
    sample->GetPointer(&pixels);
  }

  ~CameraWithSample() {
    sample->Release();
    allocator->Decommit();
    allocator->Release();
    filter->Release();
  }

  // The pixel at (x, y) of the picture: RGB samples hold it bottom row first.
  TestPatternColour at(int x, int y) const {
    const BYTE* p = pixels + ((kHeight - 1 - y) * kWidth + x) * 4;
    return {p[0], p[1], p[2]};
  }

  CVCam* filter = nullptr;
  IMemAllocator* allocator = nullptr;
  IMediaSample* sample = nullptr;
  BYTE* pixels = nullptr;
};

class MemoryPath : public ::testing::Test {
 protected:
  ::testing::AssertionResult isColour(int x, int y, TestPatternColour want) const {
    TestPatternColour got = camera.at(x, y);
    // Box filtering may take a few codes off a solid area.
    auto within4 = [](uint8_t a, uint8_t b) { return a > b ? a - b <= 4 : b - a <= 4; };
    auto is = [&](TestPatternColour c) {
      return within4(got.blue, c.blue) && within4(got.green, c.green) && within4(got.red, c.red);
    };
    if (is(kPatternBar) || is(want)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << x << ", " << y << ") is " << int(got.red) << ","
                                         << int(got.green) << "," << int(got.blue);
  }

  CameraWithSample camera;
  CVCam* filter = camera.filter;
  IMediaSample* sample = camera.sample;
};

// Publishes a plain frame of `width` by `height` with the given time stamp.
void publish(CaptureShareMemoryMgr& writer, int width, int height, uint64_t timestampMs) {
  uint32_t offset = 0;
  HANDLE mapping = nullptr;
  uint8_t* buffer = writer.lockWriteBuffer(offset, mapping);
  ASSERT_NE(buffer, nullptr);
  renderTestPattern(buffer, width, height, {1, static_cast<uint32_t>(timestampMs)});
  CaptureFrameRecord record;
  record.width = width;
  record.height = height;
  record.timestampMs = timestampMs;
  writer.unLockWriteBuffer(record, true);
}

// Streams a few samples with no mixer; 0 if each held the stored 16:9 picture.
ZARN_CHILD_ROLE(stream_without_mixer) {
  CameraWithSample camera;
  for (int i = 0; i < 3; ++i) {
    camera.filter->stream()->FillBuffer(camera.sample);
    // The card is a navy to teal gradient: no pixel of it lacks blue.
    if (camera.at(0, 0).blue == 0 || camera.at(kWidth - 1, kHeight - 1).blue == 0) return 10 + i;
    if (camera.sample->IsSyncPoint() == S_OK) return 20 + i;
  }
  return 0;
}

}  // namespace

TEST(MemoryPathInstalled, NoMixerGivesThePlaceholderAndStartsTheApplicationOnce) {
  InstallLayout install(Layout::ApplicationOneUp);
  ASSERT_TRUE(install.copied);
  ChildProcess host = install.start(L"--child stream_without_mixer");
  EXPECT_EQ(host.wait(30000), 0u);
  std::string launches = install.waitForLog(1);
  Sleep(1000);
  launches = zarn::test::readFileBytes(install.log());
  EXPECT_EQ(std::count(launches.begin(), launches.end(), '\n'), 1) << launches;
}

TEST_F(MemoryPath, MixerFrameOfFourByThreeIsTheCentredCropScaledToTheSample) {
  ChildProcess mixer =
      ChildProcess::startSibling(L"zarnmixer-sim.exe", L"--size 640x480 --fps 30 --seconds 30");
  ASSERT_TRUE(mixer.valid());
  for (int i = 0; i < 50 && sample->IsSyncPoint() != S_OK; ++i) filter->stream()->FillBuffer(sample);
  ASSERT_EQ(sample->IsSyncPoint(), S_OK) << "no frame from the mixer";

  // Source rows 60 to 419 fill the sample: the stamp strip above them is cut away.
  EXPECT_TRUE(isColour(320, 0, kPatternTopLeft));
  EXPECT_TRUE(isColour(960, 0, kPatternTopRight));
  EXPECT_TRUE(isColour(320, 180, kPatternTopLeft));
  EXPECT_TRUE(isColour(960, 180, kPatternTopRight));
  EXPECT_TRUE(isColour(320, 540, kPatternBottomLeft));
  EXPECT_TRUE(isColour(960, 540, kPatternBottomRight));
  EXPECT_TRUE(isColour(320, kHeight - 1, kPatternBottomLeft));
  int width = 0, height = 0;
  filter->stream()->GetOutputWidthHeight(&width, &height);
  EXPECT_EQ(width, kWidth);
  EXPECT_EQ(height, kHeight);
}

TEST_F(MemoryPath, RepeatedAndOlderTimeStampsAdvanceByHalfAPeriodInMediaTimeOnly) {
  CaptureShareMemoryMgr writer(kFrameRegionBaseName);
  writer.create(kFrameHeaderSize, 64, 48, true, GetCurrentProcessId());
  struct Step {
    uint64_t published;
    REFERENCE_TIME start;
    REFERENCE_TIME stop;
  };
  // The initial period is 666666: half of it is 33 ms, all of it 66 ms.
  const Step steps[] = {{1000, 1000, 1066}, {1000, 1033, 1099}, {1000, 1066, 1132},
                        {500, 1099, 1165}, {2000, 2000, 2066}};
  for (const Step& step : steps) {
    SCOPED_TRACE(step.start);
    publish(writer, 64, 48, step.published);
    filter->stream()->FillBuffer(sample);
    REFERENCE_TIME start = 0, stop = 0;
    ASSERT_EQ(sample->GetMediaTime(&start, &stop), S_OK);
    EXPECT_EQ(start, step.start);
    EXPECT_EQ(stop, step.stop);
    // Only the hosts on the list get presentation times.
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
  }
}
