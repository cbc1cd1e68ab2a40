#include "filter/capture_format_catalogue.h"

#include <windows.h>

#include <string>

#include "delivery/format_tags.h"
#include "diag/ansi_text.h"
#include "diag/log.h"
#include "filter/vcam_stream.h"
#include "host/host_lists.h"
#include "host/process_identity.h"

namespace {

const Resolution kResolutions[] = {
    {1080, 1920}, {1920, 1080}, {1280, 720}, {1024, 768}, {1024, 576}, {960, 720},
    {960, 540},   {800, 600},   {800, 448},  {3840, 2160}, {2160, 3840}, {720, 1280},
    {640, 480},   {480, 360},   {480, 480},  {240, 240},  {256, 288},  {256, 192},
    {408, 720},   {400, 300},   {320, 240},  {324, 360}};

const Resolution kExternalResolutions[] = {{528, 960}, {640, 984}};

const int64_t kFramePeriods[] = {400000, 666666, 333333, 166666};

const wchar_t* const kExternalTools[] = {L"zarnexternal.exe", L"mediaCoreTest.exe",
                                         L"StormboxDemo_Zarn.exe"};

struct PixelFormat {
  int32_t bitCount;
  uint32_t fourcc;
};

}  // namespace

std::vector<VideoCaptureInfo> s_videoCaptureInfo;

int32_t gfillCaptureInfo(const Resolution* resolutions, int32_t count) {
  if (!resolutions) {
    LogPrint(1, "CVCamStream::gfillCaptureInfo !resolutions");
    return -1;
  }
  std::vector<PixelFormat> formats = {{24, 0}, {32, 0}};
  // These hosts convert planar frames badly, so they are not offered any.
  if (!isHostInObsProcessList()) formats.push_back({12, kTagI420});
  for (const PixelFormat& format : formats) {
    for (int64_t period : kFramePeriods) {
      for (int32_t i = 0; i < count; ++i) {
        s_videoCaptureInfo.push_back({resolutions[i].first, resolutions[i].second, period,
                                      format.bitCount, format.fourcc});
      }
    }
  }
  return 0;
}

namespace {

[[maybe_unused]] const int32_t g_captureInfoStatus =
    gfillCaptureInfo(kResolutions, sizeof(kResolutions) / sizeof(kResolutions[0]));

}  // namespace

void FillZarnExternalResolution() {
  uint32_t pid = GetCurrentProcessId();
  std::wstring name = getProcessNameByPid(pid);
  LogPrint(1, "CVCamStream::FillZarnExternalResolution pid=%d, processName=%s, captureInfo.size = %d",
           static_cast<int>(pid), toAnsi(name).c_str(), static_cast<int>(s_videoCaptureInfo.size()));
  for (const wchar_t* tool : kExternalTools) {
    if (name == tool) {
      gfillCaptureInfo(kExternalResolutions, 2);
      LogPrint(1, "CVCamStream::FillZarnExternalResolution s_videoCaptureInfo size=%d",
               static_cast<int>(s_videoCaptureInfo.size()));
      return;
    }
  }
}

int32_t imageSizeOfRow(const VideoCaptureInfo& row) {
  // Rows of a bitmap are padded to 4 bytes.
  if (row.fourcc == 0 || row.fourcc == 3) {
    return ((row.bitCount * row.width / 8 + 3) & ~3) * row.height;
  }
  if (row.fourcc == kTagI420 || row.fourcc == kTagNV12) return row.height * row.width * 3 / 2;
  return 0;
}

bool CVCamStream::isResolusion_43() {
  bool fourByThree =
      static_cast<uint32_t>(m_widthOutReq) * 3u == static_cast<uint32_t>(m_heightOutReq) * 4u;
  LogPrint(1, "CVCamStream::isResolusion_43 with m_widthOutReq=%d, m_heightOutReq=%d, isResolusion_43=%d",
           m_widthOutReq, m_heightOutReq, fourByThree ? 1 : 0);
  return fourByThree;
}
