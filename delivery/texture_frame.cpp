// A mixer frame that lies in a shared texture: the GPU reader writes it straight into the sample
// when the sizes agree, else into a buffer that is scaled like a memory frame.
#include <libyuv/convert_argb.h>

#include "delivery/frame_dump.h"
#include "delivery/scale_frame.h"
#include "delivery/scale_statistics.h"
#include "diag/log.h"
#include "filter/vcam_stream.h"
#include "gpu/shared_tex_helper.h"
#include "host/platform.h"
#include "link/capture_share_memory_mgr.h"

namespace {

const uint32_t kDumpIntervalMs = 5000;

// Frames read at the target size never pass ScaleFrame, so they are counted here instead.
OutputStatistics& directTextureStatistics() {
  static OutputStatistics statistics;
  return statistics;
}

}  // namespace

uint32_t CVCamStream::textureFrameTag() const {
  if (m_bitCount == 24) return kTagRGB3;
  if (m_bitCount == 32) return kTagRGBA;
  if (m_bitCount == 12 && (m_fourcc == kTagI420 || m_fourcc == kTagNV12)) return m_fourcc;
  return 0;
}

void CVCamStream::deliverTextureFrame(const CaptureFrameRecord& record, BYTE* sampleData,
                                      int32_t targetWidth, int32_t targetHeight) {
  if (!m_pSharedTexHelper) m_pSharedTexHelper = std::make_unique<SharedTexHelper>();

  const int32_t frameWidth = static_cast<int32_t>(record.width);
  const int32_t frameHeight = static_cast<int32_t>(record.height);
  const bool needsScale = frameWidth != targetWidth || frameHeight != targetHeight;
  const uint32_t tag = textureFrameTag();
  if (tag == 0) {
    // No reader output for this format: the sample keeps what it held.
    m_pCaptureShareMemory->unLockReadBuffer();
    LogPrint(4, "CVCamStream::FillBuffer getFrameFromSharedTex failed");
    return;
  }
  // The sample belongs to the host and is gone after this call: it is described here only,
  // never handed to a buffer of the stream that outlives the frame.
  FrameBuffer inSample(sampleData, targetWidth, targetHeight, tag);
  FrameBuffer& target = needsScale ? m_textureFrame : inSample;
  // Scaled from 32 bits like a memory frame; planar frames keep their layout.
  if (needsScale) m_textureFrame.resize(frameWidth, frameHeight, tag == kTagRGB3 ? kTagRGBA : tag);

  const bool is709 = record.is709 == 1;
  bool isFullRange = record.isFullRange != 0;
  // RGB hosts get full range unless they are listed as wanting limited range.
  if (!isFullRange && (target.fourcc == kTagRGBA || target.fourcc == kTagRGB3)) {
    isFullRange = !m_isLimitedRgbHost;
  }
  m_pCaptureShareMemory->unLockReadBuffer();

  if (!m_pSharedTexHelper->getFrameFromSharedTex(record.adapterIndex, record.textureId,
                                                 target, record.keyedMutexKey, is709,
                                                 isFullRange)) {
    LogPrint(4, "CVCamStream::FillBuffer getFrameFromSharedTex failed");
  }

  if (record.dumpFrame != 0 && platform().milliseconds() - m_lastDumpTime > kDumpIntervalMs) {
    dumpTextureFrame(record, target);
  }

  if (needsScale) {
    ScaleFrame(m_textureFrame.plane[0], frameWidth, frameHeight, sampleData, targetWidth,
               targetHeight, m_bitCount, FrameFitMode::CropToFill, m_scaledFrame, m_isFlipHost,
               m_fourcc);
  } else {
    char line[OutputStatistics::kLineSize] = {};
    if (directTextureStatistics().count(line)) LogPrint(1, "%s", line);
  }
}

void CVCamStream::dumpTextureFrame(const CaptureFrameRecord& record, const FrameBuffer& frame) {
  const int32_t width = static_cast<int32_t>(record.width);
  const int32_t height = static_cast<int32_t>(record.height);
  m_dumpFrame.resize(width, height, kTagRGBA);
  if (m_fourcc == kTagNV12) {
    libyuv::NV12ToARGB(frame.plane[0], frame.stride[0], frame.plane[1], frame.stride[1],
                       m_dumpFrame.plane[0], m_dumpFrame.stride[0], width, -height);
  } else if (m_fourcc == kTagI420) {
    libyuv::I420ToARGB(frame.plane[0], frame.stride[0], frame.plane[1], frame.stride[1],
                       frame.plane[2], frame.stride[2], m_dumpFrame.plane[0],
                       m_dumpFrame.stride[0], width, -height);
  } else {
    m_dumpFrame.width = frame.width;
    m_dumpFrame.height = frame.height;
    m_dumpFrame.fourcc = frame.fourcc;
    for (int i = 0; i < 3; ++i) {
      m_dumpFrame.plane[i] = frame.plane[i];
      m_dumpFrame.stride[i] = frame.stride[i];
    }
    m_dumpFrame.valid = frame.valid;
  }
  const uint32_t now = platform().milliseconds();
  const int64_t timestamp = static_cast<int64_t>(record.timestampMs);
  // A 24-bit frame in the sample is smaller than the 32-bit image the file holds.
  const size_t available = m_dumpFrame.plane[0] == m_dumpFrame.data
                               ? m_dumpFrame.capacity
                               : imageSizeForTag(frame.fourcc, frame.width, frame.height);
  writeFrameDump(frameDumpPath(frameDumpFolder(), timestamp, int64_t(now) - timestamp),
                 m_dumpFrame.plane[0], available, m_dumpFrame.width, m_dumpFrame.height);
  m_lastDumpTime = platform().milliseconds();
  LogPrint(1, "CVCamStream::sharememory size:%d (kb)",
           static_cast<int>(m_pCaptureShareMemory->getRegionSize() / 1024));
}
