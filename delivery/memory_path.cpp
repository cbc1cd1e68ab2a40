// The path of every ordinary host: one frame from the mixer's region into the sample, stamped
// with the mixer's own millisecond times, or the placeholder when there is no frame.
#include <windows.h>

#include <atomic>
#include <stdexcept>

#include "delivery/output_size.h"
#include "delivery/scale_frame.h"
#include "diag/log.h"
#include "filter/vcam_stream.h"
#include "host/log_throttle.h"
#include "host/mixer_launch.h"
#include "link/capture_share_memory_mgr.h"
#include "link/frame_record_bounds.h"

namespace {

const wchar_t kFrameRegionBaseName[] = L"ZARNCAM_INT_VIRTUAL_VIDEO_CAPTURE_SHARE_MEMORY";
const uint32_t kLogIntervalMs = 60000;

std::atomic<uint32_t> g_lastNoRecordLine{0};
std::atomic<uint32_t> g_lastNoMixerLine{0};
std::atomic<uint32_t> g_lastBadRecordLine{0};
std::atomic<uint32_t> g_lastSmallSampleLine{0};

}  // namespace

bool CVCamStream::attachFrameRegion() {
  if (!m_pCaptureShareMemory) {
    m_pCaptureShareMemory = std::make_unique<CaptureShareMemoryMgr>(kFrameRegionBaseName);
  }
  m_pCaptureShareMemory->setEncrypted(!m_bPlainRecords);
  return m_pCaptureShareMemory->attach(false);
}

uint8_t* CVCamStream::readFrameRecord(CaptureFrameRecord& record) {
  try {
    return m_pCaptureShareMemory->lockReadBuffer(record);
  } catch (const std::exception& error) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-extra-args"
    LogPrint(1, "zarnmixer lockReadBuffer error std::exception! err=", error.what());
#pragma GCC diagnostic pop
  }
  // The failed read left the mutex held; from now on the plain layout is read.
  m_pCaptureShareMemory->unLockReadBuffer();
  m_bPlainRecords = true;
  m_pCaptureShareMemory->setEncrypted(false);
  return m_pCaptureShareMemory->lockReadBuffer(record);
}

void CVCamStream::FillBufferVideoMemoryOutput(IMediaSample* sample) {
  BYTE* sampleData = nullptr;
  sample->GetPointer(&sampleData);
  // A host's buffer may be smaller than its type says (a stale image size, an allocator that
  // gave less): such a sample gets nothing rather than a write past its end.
  const uint64_t frameBytes = scaleFrameTargetBytes(m_widthOutReq, m_heightOutReq, m_bitCount);
  const long sampleBytes = sample->GetSize();
  if (!sampleData || sampleBytes < 0 || frameBytes > uint64_t(sampleBytes)) {
    if (logLineDue(g_lastSmallSampleLine, kLogIntervalMs)) {
      LogPrint(1, "CVCamStream::FillBufferVideoMemoryOutput sample too small: %ld bytes for %dx%d",
               sampleBytes, m_widthOutReq, m_heightOutReq);
    }
    return;
  }

  bool frameDelivered = false;
  if (attachFrameRegion()) {
    if (!m_bFirstAttachDone) {
      LogPrint(1, "CVCamStream::FillBuffer attach success");
      m_bFirstAttachDone = true;
    }
    CaptureFrameRecord record;
    CaptureShareMemoryMgr::ReadHold readHold(*m_pCaptureShareMemory);
    uint8_t* pixels = readDeliverableFrame(record);
    // The writer is another process: a record that reaches past the region is no frame.
    const char* fault =
        pixels ? frameRecordFault(record, m_pCaptureShareMemory->getRegionSize(),
                                  scaleFrameSourceBytes(record.width, record.height, m_bitCount))
               : nullptr;
    if (fault) {
      m_pCaptureShareMemory->unLockReadBuffer();
      if (logLineDue(g_lastBadRecordLine, kLogIntervalMs)) {
        LogPrint(1, "CVCamStream::FillBufferVideoMemoryOutput no frame: %s (%ux%u offset=%llu)",
                 fault, record.width, record.height,
                 static_cast<unsigned long long>(record.readBufferOffset));
      }
    } else if (!pixels) {
      if (logLineDue(g_lastNoRecordLine, kLogIntervalMs)) {
        LogPrint(1, "Fails to lockReadBuffer! err=%d", static_cast<int>(GetLastError()));
      }
    } else {
      m_bUsingVideoEnhancements = record.recordFlag != 0;
      const PictureSize requested = {m_widthOutReq, m_heightOutReq};
      PictureSize target = requested;
      if (record.frameKind == kTextureFrame) {
        // The texture reader writes at the picture's own strides: only the sample's size is safe.
        // A texture that could not be read is no frame: the placeholder goes out, unstamped.
        frameDelivered = deliverTextureFrame(record, sampleData, target.width, target.height);
      } else {
        {
          CAutoLock lock(&m_streamLock);
          if (m_outputSizes.size() >= 2) {
            const PictureSize wanted = {m_outputSizes[1].first, m_outputSizes[1].second};
            target = pictureSizeInSample(requested, wanted, m_bitCount);
          }
        }
        ScaleFrame(pixels, static_cast<int32_t>(record.width), static_cast<int32_t>(record.height),
                   SampleImage{sampleData, m_widthOutReq, m_heightOutReq, m_bitCount, m_fourcc},
                   target.width, target.height, FrameFitMode::CropToFill, m_scaledFrame,
                   m_isFlipHost);
        m_pCaptureShareMemory->unLockReadBuffer();
        frameDelivered = true;
      }

      if (frameDelivered) {
        m_widthOut = target.width;
        m_heightOut = target.height;
        sample->SetSyncPoint(TRUE);
        stampSampleTimes(sample, static_cast<int64_t>(record.timestampMs));
      }
    }
  }

  if (!m_bFirstAttachDone) {
    m_bFirstAttachDone = true;
    BootZarnVcamProc();
    LoadBackground(true);
  }

  if (!frameDelivered) {
    if (logLineDue(g_lastNoMixerLine, kLogIntervalMs)) {
      LogPrint(1, "No zarnmixer running ! err=%d", static_cast<int>(GetLastError()));
    }
    // A stream that met a mixer first has no picture yet; without one the host would go on
    // showing the dead mixer's last frame.
    ensurePlaceholder(true);
    copyPlaceholderToSample(sampleData);
    m_widthOut = m_widthOutReq;
    m_heightOut = m_heightOutReq;
  }
}

void CVCamStream::stampSampleTimes(IMediaSample* sample, int64_t frameTimeMs) {
  // Milliseconds of the mixer's clock go into the sample unconverted; hosts rely on it.
  REFERENCE_TIME start = frameTimeMs;
  if (start <= m_lastSampleEnd) start = m_lastSampleEnd + m_avgTimePerFrameSample / 20000;
  REFERENCE_TIME stop = start + m_avgTimePerFrameSample / 10000;
  if (m_isObsHost) sample->SetTime(&start, &stop);
  sample->SetMediaTime(&start, &stop);
  // Keeps the start, so repeated frames advance by half a period each.
  m_lastSampleEnd = start;
}
