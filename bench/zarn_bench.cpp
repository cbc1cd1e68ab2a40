// Per-frame cost of ScaleFrame for the sizes hosts ask for most, each against a memcpy of
// the same output bytes measured in the same run, and the heap allocations of a steady
// stream once the sizes have been seen.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/allocation_counter.h"
#include "delivery/format_tags.h"
#include "delivery/frame_buffer.h"
#include "delivery/scale_frame.h"
#include "delivery/scale_statistics.h"

namespace {

struct Case {
  const char* name;
  int32_t sw, sh, dw, dh, bitCount;
  uint32_t fourcc;
  FrameFitMode fitMode;
  bool flip;
};

const Case kCases[] = {
    {"1920x1080 RGB32 same size", 1920, 1080, 1920, 1080, 32, kTagRGBA, FrameFitMode::CropToFill, false},
    {"1920x1080 RGB32 same size, flipped", 1920, 1080, 1920, 1080, 32, kTagRGBA, FrameFitMode::CropToFill, true},
    {"1920x1080 to RGB24 same size", 1920, 1080, 1920, 1080, 24, kTagRGB3, FrameFitMode::CropToFill, false},
    {"1920x1080 to 1280x720 RGB24", 1920, 1080, 1280, 720, 24, kTagRGB3, FrameFitMode::CropToFill, false},
    {"1920x1080 to 1280x720 RGB32", 1920, 1080, 1280, 720, 32, kTagRGBA, FrameFitMode::CropToFill, false},
    {"640x480 into 1280x720 crop-to-fill", 640, 480, 1280, 720, 32, kTagRGBA, FrameFitMode::CropToFill, false},
    {"3840x2160 to 1920x1080 RGB32", 3840, 2160, 1920, 1080, 32, kTagRGBA, FrameFitMode::CropToFill, false},
    {"I420 1920x1080 to 1280x720", 1920, 1080, 1280, 720, 12, kTagI420, FrameFitMode::CropToFill, false},
    {"placeholder 1280x720 to 1080p RGB32", 1280, 720, 1920, 1080, 32, kTagRGBA, FrameFitMode::Stretch, false},
};

constexpr int kBatch = 20;

size_t imageBytes(int32_t width, int32_t height, int32_t bitCount) {
  return size_t(width) * height * bitCount / 8;
}

double now() {
  static const double frequency = [] {
    LARGE_INTEGER f;
    QueryPerformanceFrequency(&f);
    return double(f.QuadPart);
  }();
  LARGE_INTEGER t;
  QueryPerformanceCounter(&t);
  return double(t.QuadPart) / frequency;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// Kept out of the optimiser's sight so that no copy is elided.
void* (*volatile g_copy)(void*, const void*, size_t) = memcpy;

struct Result {
  double scaleMs, copyMs;
  AllocationCount frameAllocations;  // of the frames that logged no statistics line
  int statisticsLines;
  AllocationCount lineAllocations;   // of the frames that did
  bool scratchGrew;
};

void add(AllocationCount& sum, const AllocationCount& before, const AllocationCount& after) {
  sum.operatorNew += after.operatorNew - before.operatorNew;
  sum.cHeap += after.cHeap - before.cHeap;
}

Result measure(const Case& c, int frames) {
  const int32_t sourceBits = c.bitCount == 12 ? 12 : 32;
  std::vector<uint8_t> source(imageBytes(c.sw, c.sh, sourceBits));
  for (size_t i = 0; i < source.size(); ++i) source[i] = uint8_t(i * 2654435761u >> 24);
  const size_t outputBytes = imageBytes(c.dw, c.dh, c.bitCount);
  std::vector<uint8_t> sample(outputBytes), copySource(outputBytes, 1), copyTarget(outputBytes);
  FrameBuffer scratch;

  auto scale = [&] {
    ScaleFrame(source.data(), c.sw, c.sh, sample.data(), c.dw, c.dh, c.bitCount, c.fitMode,
               scratch, c.flip, c.fourcc);
  };
  for (int i = 0; i < 3; ++i) {
    scale();
    g_copy(copyTarget.data(), copySource.data(), outputBytes);
  }
  const uint8_t* const scratchData = scratch.data;
  const uint32_t scratchCapacity = scratch.capacity;

  Result result = {};
  std::vector<double> scaleTimes, copyTimes;
  for (int done = 0; done < frames; done += kBatch) {
    const int batch = std::min(kBatch, frames - done);
    double start = now();
    for (int i = 0; i < batch; ++i) {
      const AllocationCount before = allocationsSoFar();
      const int tally = scaleFrameStatistics().frames();
      scale();
      // The tally starts again from zero after each statistics line.
      const bool logged = scaleFrameStatistics().frames() <= tally;
      add(logged ? result.lineAllocations : result.frameAllocations, before, allocationsSoFar());
      result.statisticsLines += logged;
    }
    scaleTimes.push_back((now() - start) / batch);

    start = now();
    for (int i = 0; i < batch; ++i) g_copy(copyTarget.data(), copySource.data(), outputBytes);
    copyTimes.push_back((now() - start) / batch);
  }
  result.scaleMs = median(scaleTimes) * 1000;
  result.copyMs = median(copyTimes) * 1000;
  result.scratchGrew = scratch.data != scratchData || scratch.capacity != scratchCapacity;
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  int frames = 1000;
  if (argc == 3 && strcmp(argv[1], "--frames") == 0) frames = std::max(1, atoi(argv[2]));

  printf("%-38s %9s %9s %6s %5s %6s %8s %6s %9s\n", "case (median of batches of 20)",
         "scale ms", "memcpy ms", "ratio", "new", "malloc", "scratch", "lines", "their new");
  bool copyTargetMet = true;
  bool noOwnAllocations = true;
  for (const Case& c : kCases) {
    const Result r = measure(c, frames);
    const double ratio = r.scaleMs / r.copyMs;
    printf("%-38s %9.3f %9.3f %6.2f %5llu %6llu %8s %6d %9llu\n", c.name, r.scaleMs, r.copyMs,
           ratio, static_cast<unsigned long long>(r.frameAllocations.operatorNew),
           static_cast<unsigned long long>(r.frameAllocations.cHeap),
           r.scratchGrew ? "grew" : "kept", r.statisticsLines,
           static_cast<unsigned long long>(r.lineAllocations.operatorNew));
    if (&c == &kCases[0]) copyTargetMet = ratio <= 1.2;
    noOwnAllocations = noOwnAllocations && r.frameAllocations.operatorNew == 0 && !r.scratchGrew;
  }
  printf("\nframes per case: %d. new, malloc: operator new and C heap calls (the latter libyuv's\n"
         "row buffers) in frames that logged nothing; scratch: whether the scratch image grew\n"
         "once sizes were seen; lines: statistics lines logged, and the operator new calls of\n"
         "the frames that logged them.\n",
         frames);
  printf("same-size RGB32 within 1.2 x memcpy: %s\n", copyTargetMet ? "yes" : "NO");
  printf("no operator new and no scratch growth in the steady stream: %s\n",
         noOwnAllocations ? "yes" : "NO");
  return copyTargetMet && noOwnAllocations ? 0 : 1;
}
