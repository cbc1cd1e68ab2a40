// The path of a client in the host's own process: no pixels pass through the sample; the client
// is told which shared texture holds each frame, on which adapter, and at what time.
#include <windows.h>

#include <libyuv.h>

#include <atomic>

#include "delivery/scale_frame.h"
#include "diag/log.h"
#include "filter/vcam_stream.h"
#include "gpu/special_common.h"
#include "gpu/special_rgba_to_tex.h"
#include "host/log_throttle.h"
#include "host/mixer_launch.h"
#include "host/platform.h"
#include "link/capture_share_memory_mgr.h"

namespace {

const uint32_t kNoRecordLogIntervalMs = 60000;
const uint32_t kNoMixerLogIntervalMs = 10000;

std::atomic<uint32_t> g_lastNoRecordLine{0};
std::atomic<uint32_t> g_lastNoMixerLine{0};
std::atomic<uint32_t> g_lastDefaultImageLine{0};

}  // namespace

void CVCamStream::FillBufferVideoDirectOutput() {
  bool frameDelivered = false;
  if (attachFrameRegion()) {
    if (!m_bFirstAttachDone) {
      LogPrint(1, "CVCamStream::FillBufferVideoDirectOutput attach success");
      m_bFirstAttachDone = true;
    }
    CaptureFrameRecord record;
    if (!readFrameRecord(record)) {
      if (logLineDue(g_lastNoRecordLine, kNoRecordLogIntervalMs)) {
        LogPrint(1, "FillBufferVideoDirectOutput Fails to lockReadBuffer! err=%d",
                 static_cast<int>(GetLastError()));
      }
    } else {
      m_bUsingVideoEnhancements = record.recordFlag != 0;
      int64_t time = static_cast<int64_t>(record.timestampMs);
      // A memory frame is not for this path: nothing is called and the region stays locked, so
      // a mixer that serves a direct client publishes textures only.
      if (record.frameKind == kTextureFrame) {
        LUID adapterLuid = {record.adapterLuid.LowPart, record.adapterLuid.HighPart};
        if (adapterLuid.LowPart == 0 && adapterLuid.HighPart == 0) {
          adapterLuid = SpecialCommon::instance().getBestAdapterLuid();
        }
        m_pCaptureShareMemory->unLockReadBuffer();
        IZarnCameraOutput* output = m_pCameraOutput;
        if (output) {
          // Unlike the memory path the comparison is unsigned, so a stamp with the top bit set
          // counts as new.
          if (static_cast<uint64_t>(time) <= static_cast<uint64_t>(m_lastSampleEnd)) {
            time = m_lastSampleEnd + m_avgTimePerFrameSample / 20000;
          }
          output->OnCameraTexture(adapterLuid, record.textureId, time);
        }
      }
      m_widthOut = static_cast<int32_t>(record.width);
      m_heightOut = static_cast<int32_t>(record.height);
      m_lastSampleEnd = time;
      frameDelivered = true;
    }
  }

  if (!m_bFirstAttachDone) {
    m_bFirstAttachDone = true;
    BootZarnVcamProc();
    // Top row first, as a texture holds it.
    LoadBackground(false);
  }

  if (!frameDelivered) sendPlaceholderTexture();
}

void CVCamStream::sendPlaceholderTexture() {
  if (logLineDue(g_lastNoMixerLine, kNoMixerLogIntervalMs)) {
    LogPrint(1, "FillBufferVideoDirectOutput No zarnmixer running ! err=%d",
             static_cast<int>(GetLastError()));
  }
  if (!m_pSpecialRGBAToTex) m_pSpecialRGBAToTex = std::make_unique<SpecialRGBAToTex>();
  // A stream that met a mixer first has no picture yet, and would upload whatever memory holds.
  ensurePlaceholder(false);

  // Built once per requested size, so that a sample costs one upload.
  FrameBuffer& image = m_placeholderTextureFrame;
  if (image.width != m_widthOutReq || image.height != m_heightOutReq) {
    FrameBuffer scaled;
    scaled.resize(m_widthOutReq, m_heightOutReq, kTagRGB4);
    image.resize(m_widthOutReq, m_heightOutReq, kTagABGR);
    // Never turned over: the client gets the mixer's textures as they lie, top row first.
    ScaleFrame(m_placeholderFrame.plane[0], m_placeholderFrame.width, m_placeholderFrame.height,
               scaled.plane[0], m_widthOutReq, m_heightOutReq, 32, kPlaceholderFit,
               m_scaledFrame, false, m_fourcc);
    // The texture is red first.
    libyuv::ARGBToABGR(scaled.plane[0], scaled.stride[0], image.plane[0], image.stride[0],
                       m_widthOutReq, m_heightOutReq);
  }

  SpecialCommon& common = SpecialCommon::instance();
  m_pSpecialRGBAToTex->memoryUploadTex(
      common.getBestAdapterIndex(), image.plane[0], static_cast<uint32_t>(image.width),
      static_cast<uint32_t>(image.height), static_cast<uint32_t>(image.stride[0]));
  IZarnCameraOutput* output = m_pCameraOutput;
  if (output) {
    LUID adapterLuid = common.getBestAdapterLuid();
    uint32_t textureId = m_pSpecialRGBAToTex->getSharedTextureId();
    if (logLineDue(g_lastDefaultImageLine, kNoMixerLogIntervalMs)) {
      LogPrint(1,
               "FillBufferVideoDirectOutput default image width=%d, height=%d, textureId=%u, "
               "LowPart=%d, HighPart=%d",
               image.width, image.height, textureId, static_cast<int>(adapterLuid.LowPart),
               static_cast<int>(adapterLuid.HighPart));
    }
    // The raw clock: the filter's own texture is outside the time rule of mixer frames.
    output->OnCameraTexture(adapterLuid, textureId, platform().milliseconds());
  }
  m_widthOut = m_widthOutReq;
  m_heightOut = m_heightOutReq;
}
