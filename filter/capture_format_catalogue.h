#pragma once
// The one list of formats the camera offers: sizes by periods by pixel formats, built when the
// module loads and depending on the host.
#include <cstdint>
#include <utility>
#include <vector>

struct VideoCaptureInfo {
  int32_t width;
  int32_t height;
  int64_t avgTimePerFrame;
  int32_t bitCount;
  // biCompression: 0 for RGB, else the four characters.
  uint32_t fourcc;
};

using Resolution = std::pair<int32_t, int32_t>;

// No side of a frame the camera takes or delivers is outside these.
constexpr int32_t kSmallestFrameSide = 192;
constexpr int32_t kLargestFrameSide = 3840;

extern std::vector<VideoCaptureInfo> s_videoCaptureInfo;

// Appends a row for each pixel format, period and resolution, in that nesting; -1 for null.
int32_t gfillCaptureInfo(const Resolution* resolutions, int32_t count);

// Three companion tools get two more sizes each time a pin is made in them.
void FillZarnExternalResolution();

// Bytes of one frame of the row; 0 for a format the camera does not know.
int32_t imageSizeOfRow(const VideoCaptureInfo& row);
