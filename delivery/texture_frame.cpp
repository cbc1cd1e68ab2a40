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

// Describes the image's rows bottom first from now on, or back top first when called again.
void turnOver(FrameBuffer& frame) {
  frame.plane[0] += ptrdiff_t(frame.height - 1) * frame.stride[0];
  frame.stride[0] = -frame.stride[0];
}

}  // namespace

uint32_t CVCamStream::textureFrameTag() const {
  if (m_bitCount == 24) return kTagRGB3;
  if (m_bitCount == 32) return kTagRGBA;
  if (m_bitCount == 12 && (m_fourcc == kTagI420 || m_fourcc == kTagNV12)) return m_fourcc;
  return 0;
}

bool CVCamStream::deliverTextureFrame(const CaptureFrameRecord& record, BYTE* sampleData,
                                      int32_t targetWidth, int32_t targetHeight) {
  if (!m_pSharedTexHelper) m_pSharedTexHelper = std::make_unique<SharedTexHelper>();
  SharedTexHelper& reader = *m_pSharedTexHelper;
  const uint32_t tag = textureFrameTag();
  const bool rgb = tag == kTagRGBA || tag == kTagRGB3;
  const bool is709 = record.is709 == 1;
  // RGB hosts get full range unless they are listed as wanting limited range.
  const bool isFullRange = record.isFullRange != 0 || (rgb && !m_isLimitedRgbHost);
  m_pCaptureShareMemory->unLockReadBuffer();

  auto failed = [] {
    LogPrint(4, "CVCamStream::FillBuffer getFrameFromSharedTex failed");
    return false;
  };
  // The texture's own size, not the record's: no record can grow the buffer past a real texture.
  if (tag == 0 || !reader.openTexture(record.adapterIndex, record.textureId)) return failed();
  const int32_t frameWidth = static_cast<int32_t>(reader.textureWidth());
  const int32_t frameHeight = static_cast<int32_t>(reader.textureHeight());
  const bool needsScale = frameWidth != targetWidth || frameHeight != targetHeight;
  // The sample belongs to the host and is gone after this call: it is described here only,
  // never handed to a buffer of the stream that outlives the frame.
  FrameBuffer inSample(sampleData, targetWidth, targetHeight, tag);
  FrameBuffer& target = needsScale ? m_textureFrame : inSample;
  // Scaled from 32 bits like a memory frame; planar frames keep their layout.
  if (needsScale) m_textureFrame.resize(frameWidth, frameHeight, tag == kTagRGB3 ? kTagRGBA : tag);
  // ScaleFrame turns RGB frames over for these hosts, so a frame read straight in is turned too.
  const bool turned = !needsScale && rgb && m_isFlipHost;
  if (turned) turnOver(inSample);
  const bool read = reader.getFrameFromSharedTex(record.adapterIndex, record.textureId, target,
                                                 record.keyedMutexKey, is709, isFullRange);
  if (turned) turnOver(inSample);
  if (!read) return failed();

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
  return true;
}

void CVCamStream::dumpTextureFrame(const CaptureFrameRecord& record, const FrameBuffer& frame) {
  const int32_t width = frame.width;
  const int32_t height = frame.height;
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
