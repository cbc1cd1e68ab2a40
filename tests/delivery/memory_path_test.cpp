#include <gtest/gtest.h>
#include <windows.h>
#include <timeapi.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include "link/byte_order.h"
#include "tests/delivery/frame_writer.h"
#include "tests/delivery/guarded_sample.h"
#include "tests/delivery/pin_beside_filter.h"
#include "tests/link/link_test_support.h"
#include "tests/support/child_process.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_files.h"

using zarn::test::ChildProcess;

namespace {

// The pin's requested format until a host sets one: 1280 by 720 at 32 bits.
const int kWidth = 1280;
const int kHeight = 720;

// Throws from its next read once armed; the first read under the frame's mutex is the output
// statistics' in the conversion.
struct ArmedClock : FakeClock {
  uint32_t milliseconds() override {
    if (std::exchange(armed, false)) throw 1;
    return now;
  }
  bool armed = false;
};

// A pin as a host holds it, with one sample of the requested size that ends at a guard page.
class MemoryPath : public ::testing::Test {
 protected:
  // Late enough that every throttled line is due.
  MemoryPath() { clock.now = 0x40000000; }

  bool mixerFrameArrives() {
    sample->SetSyncPoint(FALSE);
    for (int i = 0; i < 50 && sample->IsSyncPoint() != S_OK; ++i) stream->FillBuffer(sample);
    return sample->IsSyncPoint() == S_OK;
  }
  // Row `y` from the top: RGB samples hold the picture bottom row first. Box filtering may take
  // a few codes off a solid area, and the grey bar may pass anywhere.
  void expectRow(int y, TestPatternColour left, TestPatternColour right) {
    for (auto [x, want] : {std::pair{320, left}, {960, right}}) {
      const BYTE* p = pixels + ((kHeight - 1 - y) * kWidth + x) * 4;
      auto is = [&](TestPatternColour c) {
        return std::abs(p[0] - c.blue) <= 4 && std::abs(p[1] - c.green) <= 4 &&
               std::abs(p[2] - c.red) <= 4;
      };
      EXPECT_TRUE(is(want) || is(kPatternBar))
          << "(" << x << ", " << y << ") is " << int(p[2]) << "," << int(p[1]) << "," << int(p[0]);
    }
  }

  ArmedClock clock;
  PinBesideFilter<> pin{clock};
  OpenStream* stream = pin.stream.get();
  GuardedSample guarded{kWidth * kHeight * 4};
  IMediaSample* sample = &guarded.sample;
  BYTE* pixels = guarded.memory.data();
};

// Whether a thread other than the worker can take the frame region's mutex within 2 s.
bool frameMutexIsFree() {
  HANDLE mutex =
      OpenMutexW(SYNCHRONIZE, FALSE, L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY_Mutex");
  DWORD waited = WAIT_FAILED;
  std::thread([&] {
    waited = WaitForSingleObject(mutex, 2000);
    if (waited == WAIT_OBJECT_0) ReleaseMutex(mutex);
  }).join();
  CloseHandle(mutex);
  return waited == WAIT_OBJECT_0;
}

// Holds both regions' mutexes, as a hung mixer would, until killed.
ZARN_CHILD_ROLE(hold_region_mutexes) {
  for (const wchar_t* name : {L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY_Mutex",
                              L"ZARNCAM_INT_VIRTUAL_VIDEO_VCAMPARA_SHARE_MEMORY_Mutex"})
    WaitForSingleObject(CreateMutexW(nullptr, FALSE, name), INFINITE);
  SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, L"ZARN_TEST_REGION_MUTEXES_HELD"));
  return idleUntilKilled();
}

}  // namespace

TEST_F(MemoryPath, ExceptionWhileAFrameIsConvertedGivesTheMutexBack) {
  FrameWriter writer;
  writer.publish(frameRecord(64, 48, 1000));
  ASSERT_TRUE(mixerFrameArrives());
  clock.armed = true;
  EXPECT_EQ(stream->FillBuffer(sample), S_OK);
  EXPECT_FALSE(clock.armed);
  EXPECT_TRUE(frameMutexIsFree());
}

// A stream made, run and stopped while a hung process holds both mutexes returns from every call
// (an unbounded wait would last until the holder ends itself), and has frames and its claim
// again once the holder is gone.
TEST(HeldMutexes, HungHolderCostsAStreamItsFramesButNeverItsBeat) {
  FrameWriter writer;
  writer.publish(frameRecord(64, 48, 1000));
  HANDLE held = CreateEventW(nullptr, TRUE, FALSE, L"ZARN_TEST_REGION_MUTEXES_HELD");
  ChildProcess holder = ChildProcess::startRole("hold_region_mutexes");
  ASSERT_EQ(WaitForSingleObject(held, 10000), WAIT_OBJECT_0);
  CloseHandle(held);
  const DWORD start = GetTickCount();
  const uint64_t logStart = fileSizeOf(cameraLog());
  FakeClock clock;
  clock.now = 0x40000000;
  PinBesideFilter<> pin{clock};
  GuardedSample guarded{kWidth * kHeight * 4};
  for (int beat = 0; beat < 3; ++beat) EXPECT_EQ(pin.stream->FillBuffer(&guarded.sample), S_OK);
  EXPECT_EQ(pin.filter->Stop(), S_OK);
  EXPECT_LT(GetTickCount() - start, 10000u);
  EXPECT_NE(guarded.sample.IsSyncPoint(), S_OK);
  // One line a minute for both mutexes.
  EXPECT_EQ(linesContaining(logStart, "_Mutex held by another process").size(), 1u);

  holder.kill();
  pin.stream->FillBuffer(&guarded.sample);
  EXPECT_EQ(guarded.sample.IsSyncPoint(), S_OK);
  EXPECT_EQ(pin.stream->deviceOpeningProcessId(), GetCurrentProcessId());
}

TEST_F(MemoryPath, RepeatedAndOlderTimeStampsAdvanceByHalfAPeriodInMediaTimeOnly) {
  FrameWriter writer;
  // Published, then start and stop; the initial period is 666666: half of it is 33 ms, all 66 ms.
  const REFERENCE_TIME steps[][3] = {{1000, 1000, 1066}, {1000, 1033, 1099}, {1000, 1066, 1132},
                                     {500, 1099, 1165},  {2000, 2000, 2066}};
  for (const auto& step : steps) {
    SCOPED_TRACE(step[1]);
    writer.publish(frameRecord(64, 48, uint64_t(step[0])));
    stream->FillBuffer(sample);
    REFERENCE_TIME start = 0, stop = 0;
    ASSERT_EQ(sample->GetMediaTime(&start, &stop), S_OK);
    EXPECT_EQ(start, step[1]);
    EXPECT_EQ(stop, step[2]);
    // Only the hosts on the list get presentation times.
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
  }
}

// A writer that lies about its frame gets the placeholder path, and one line a minute naming the
// fault; a good record after it is delivered as before.
TEST_F(MemoryPath, RecordReachingPastTheRegionGivesThePlaceholderAndItsFaultIsLoggedOnce) {
  FrameWriter writer;
  uint8_t* view = writer.region();

  // A value of 0 leaves the field as the record put it.
  const struct {
    const char* fault;
    uint32_t width, height;
    size_t headerField;
    uint64_t value;
  } cases[] = {
      {"width above 16384", 16385, 48, sealed_offset::kReadBufferOffset, 0},
      {"height above 16384", 64, 20000, sealed_offset::kReadBufferOffset, 0},
      {"offset+bytes past region", 64, 48, sealed_offset::kReadBufferOffset,
       writer.writer.getRegionSize() - 64 * 48 * 4 + 4},
      {"sealedLength above header area", 64, 48, sealed_offset::kSealedLength, 1ull << 40},
  };
  const size_t sampleBytes = size_t(kWidth) * kHeight * 4;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    CaptureFrameRecord record = frameRecord(c.width, c.height, 0);
    writer.writer.unLockWriteBuffer(record, false);
    const uint64_t kept = loadLittleEndian64(view + c.headerField);
    if (c.value) storeLittleEndian64(view + c.headerField, c.value);
    clock.now += 60000;
    const uint64_t logStart = fileSizeOf(cameraLog());
    for (int i = 0; i < 2; ++i) {
      std::memset(pixels, 0x5A, sampleBytes);
      sample->SetSyncPoint(FALSE);
      stream->FillBuffer(sample);
      EXPECT_NE(sample->IsSyncPoint(), S_OK);
      // The stored picture, though this stream met a mixer first: its bottom row is the
      // gradient's lower colour.
      EXPECT_NEAR(pixels[0], 0x73, 10);
      EXPECT_NEAR(pixels[1], 0x6f, 10);
      EXPECT_NEAR(pixels[2], 0x2f, 10);
    }
    EXPECT_EQ(linesContaining(logStart, std::string("no frame: ") + c.fault).size(), 1u);
    storeLittleEndian64(view + c.headerField, kept);
  }

  writer.publish(frameRecord(64, 48, 5000));
  stream->FillBuffer(sample);
  EXPECT_EQ(sample->IsSyncPoint(), S_OK);
  // This writer lays the top row first, so a host sees the picture upside down.
  expectRow(540, kPatternTopLeft, kPatternTopRight);
}

TEST_F(MemoryPath, SampleSmallerThanTheRequestedFrameIsLeftAlone) {
  const long bytes = kWidth * kHeight * 4 - 4;
  GuardedSample small(bytes, 0x5A);
  stream->FillBuffer(&small.sample);
  EXPECT_EQ(std::count(small.memory.data(), small.memory.data() + bytes, 0x5A), bytes);
}

// A client's own output size puts a smaller picture at the start of the sample's planes at the
// sample's own strides, so a host reading its negotiated type never sees it garbled; a size that
// does not fit inside the sample on both sides gives the whole sample.
TEST_F(MemoryPath, SecondOutputSizeLiesInTheSampleAtItsStridesOrIsNotUsed) {
  FrameWriter writer(true, kFrameHeaderSize, kWidth, kHeight);
  const struct {
    int32_t bitCount;
    int width, height, deliveredWidth, deliveredHeight;
  } cases[] = {{32, 640, 360, 640, 360}, {32, 1920, 1080, kWidth, kHeight},
               {32, 720, 1280, kWidth, kHeight}, {24, 322, 180, 322, 180},
               {12, 641, 361, 640, 360}, {12, 320, 1, kWidth, kHeight}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.bitCount << " bits, " << c.width << "x" << c.height);
    const bool planar = c.bitCount == 12;
    const int pixel = planar ? 1 : c.bitCount / 8;
    GuardedSample guarded(long(kWidth) * kHeight * (planar ? 3 : 2 * pixel) / 2, 0x5A);
    stream->request(kWidth, kHeight, c.bitCount, planar ? kTagI420 : kTagRGBA);
    OutputSizeList sizes = {{kWidth, kHeight}, {c.width, c.height}};
    ASSERT_EQ(stream->SetOutputWidthHeight(&sizes), S_OK);
    // Planar frames of the requested size after packed ones of another: the mixer has followed
    // the switch of layout.
    writer.publish(frameRecord(planar ? kWidth : 64, planar ? kHeight : 48, timeGetTime() + 1));
    stream->deliver(&guarded.sample);

    int width = 0, height = 0;
    stream->GetOutputWidthHeight(&width, &height);
    EXPECT_EQ(width, c.deliveredWidth);
    EXPECT_EQ(height, c.deliveredHeight);
    // Each plane of the sample (I420 for 12 bits) holds the picture at the start of its rows.
    const BYTE* row = guarded.memory.data();
    for (int plane = 0; plane < (planar ? 3 : 1); ++plane) {
      const int half = plane ? 2 : 1, stride = kWidth * pixel / half;
      for (int y = 0; y < kHeight / half; ++y, row += stride) {
        const int picture = y < c.deliveredHeight / half ? c.deliveredWidth * pixel / half : 0;
        ASSERT_EQ(std::count(row + picture, row + stride, 0x5A), stride - picture) << plane << y;
        if (picture) ASSERT_LT(std::count(row, row + picture, 0x5A), picture) << plane << y;
      }
    }
  }
}

// After a switch of layout at the same size the sample waits until the mixer has surely read the
// request, rather than show the placeholder: a frame published once after the switch is shown.
TEST_F(MemoryPath, FramePublishedOnceAfterASwitchOfLayoutIsShownNotThePlaceholder) {
  FrameWriter writer(true, kFrameHeaderSize, kWidth, kHeight);
  writer.publish(frameRecord(kWidth, kHeight, timeGetTime()));
  ASSERT_TRUE(mixerFrameArrives());
  stream->request(kWidth, kHeight, 12, kTagI420);
  stream->UpdateVideoOutParamIntoSharedMemory();
  writer.publish(frameRecord(kWidth, kHeight, timeGetTime() + 1));
  sample->SetSyncPoint(FALSE);
  stream->FillBuffer(sample);
  EXPECT_EQ(sample->IsSyncPoint(), S_OK);
}

TEST_F(MemoryPath, RecordThatCannotBeUnsealedIsReadPlainWithTheMutexGivenBack) {
  const uint64_t logStart = fileSizeOf(cameraLog());
  // Plain buffers 4 bytes off an 8-byte boundary: read as sealed, the buffer offset is a length
  // the cipher refuses.
  FrameWriter writer(false, kFrameHeaderSize + 4);
  writer.publish(frameRecord(64, 48, 1000));
  stream->FillBuffer(sample);
  EXPECT_EQ(sample->IsSyncPoint(), S_OK);
  expectRow(540, kPatternTopLeft, kPatternTopRight);
  EXPECT_EQ(linesContaining(logStart, "zarnmixer lockReadBuffer error std::exception!").size(), 1u);
  EXPECT_TRUE(frameMutexIsFree());
  // The plain record's read count, at 0x10: one read, counted once.
  EXPECT_EQ(loadLittleEndian64(writer.region() + 0x10), 1u);
}

// The first time-out after a mixer ends lets go of its region, so a restarted one makes its own.
TEST_F(MemoryPath, MixerRestartedAfterATimeOutCreatesItsRegionAfresh) {
  {
    FrameWriter ended;
    ended.publish(frameRecord(64, 48, 1000));
    stream->FillBuffer(sample);
    ASSERT_EQ(sample->IsSyncPoint(), S_OK);
  }
  stream->FillBuffer(sample);
  FrameWriter restarted;
  EXPECT_TRUE(restarted.writer.createdRegion());
}

// Clients find the camera and the mixer's enhancements through the filter itself.
TEST_F(MemoryPath, FilterAnswersItIsTheCameraAndWhetherTheLastFrameWasEnhanced) {
  ICheckZarnCam* check = nullptr;
  ICheckZarnCamUsingVideoEnhancements* enhanced = nullptr;
  ASSERT_EQ(pin.filter->QueryInterface(IID_ICheckZarnCam, reinterpret_cast<void**>(&check)), S_OK);
  ASSERT_EQ(pin.filter->QueryInterface(IID_ICheckZarnCamUsingVideoEnhancements,
                                       reinterpret_cast<void**>(&enhanced)), S_OK);
  unsigned char answer = 0;
  EXPECT_EQ(check->CheckZarnCam(&answer), S_OK);
  EXPECT_EQ(answer, 1);
  FrameWriter writer;
  for (uint8_t flag : {1, 0}) {
    CaptureFrameRecord record = frameRecord(64, 48, 1000 + flag);
    record.recordFlag = flag;
    writer.publish(record);
    pin.filter->stream()->FillBuffer(sample);
    ASSERT_EQ(sample->IsSyncPoint(), S_OK);
    EXPECT_EQ(enhanced->CheckZarnCamUsingVideoEnhancements(&answer), S_OK);
    EXPECT_EQ(answer, flag);
  }
  check->Release();
  enhanced->Release();
}
