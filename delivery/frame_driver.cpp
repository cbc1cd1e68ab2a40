// The stream's beat: wait for the mixer's frame signal or a short time-out, keep the link to
// the mixer repaired, pick the delivery path, and never let an exception end the worker.
#include <windows.h>
#include <timeapi.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include "diag/log.h"
#include "filter/vcam_stream.h"
#include "host/log_throttle.h"
#include "host/platform.h"
#include "link/capture_frame_record.h"
#include "link/capture_share_memory_mgr.h"

namespace {

const wchar_t kFrameEventName[] = L"ZARNCAM_INT_DEF_SINGLE_SYNFRAME_EVENT_20180212";
const DWORD kFrameWaitMs = 200;
const int kLoggedTimeouts = 20;
const uint32_t kCatchAllLogIntervalMs = 60000;
const uint32_t kLogIntervalMs = 60000;

// One count and one throttle per load of the module, shared by all streams.
std::atomic<int> g_frameWaitTimeouts{0};
std::atomic<uint32_t> g_lastCatchAllLine{0};
std::atomic<uint32_t> g_lastNoEventLine{0};
std::atomic<uint32_t> g_lastWaitFailedLine{0};

void showDeliveryFailureNotice() {
  platform().showNotice(L"虚拟摄像头出现异常", L"Zarn虚拟摄像头出现异常");
}

}  // namespace

uint8_t* CVCamStream::readDeliverableFrame(CaptureFrameRecord& record) {
  const DWORD start = timeGetTime();
  for (;;) {
    uint8_t* pixels = readFrameRecord(record);
    const DWORD now = timeGetTime();
    // A texture is read in the host's format whatever the mixer was asked for.
    if (!pixels || record.frameKind == kTextureFrame ||
        m_layoutGuard.admits(record.timestampMs, record.width, record.height, now)) {
      return pixels;
    }
    m_pCaptureShareMemory->unLockReadBuffer();
    LogPrint(1, "CVCamStream::FillBuffer skips the frame stamped %u: it may be of the layout before",
             static_cast<uint32_t>(record.timestampMs));
    // The sample waits for a frame the guard trusts rather than show the placeholder: a switch of
    // layout costs the host a short stall, and a mixer that published once is shown when settled.
    const DWORD waited = now - start;
    const DWORD limit = std::max<DWORD>(kFrameWaitMs, waited + m_layoutGuard.msUntilSettled(now));
    if (waited >= limit || WaitForSingleObject(m_hSynFrameEvent, limit - waited) == WAIT_FAILED) {
      return nullptr;
    }
  }
}

HRESULT CVCamStream::FillBuffer(IMediaSample* sample) {
  if (!m_hSynFrameEvent) {
    if (logLineDue(g_lastNoEventLine, kLogIntervalMs)) {
      LogPrint(1, "CVCamStream::FillBuffer,m_hSynFrameEvent is NULL");
    }
    // Opens the mixer's event if it exists, else makes the one it will open: either may start first.
    m_hSynFrameEvent = CreateEventW(nullptr, FALSE, FALSE, kFrameEventName);
  }

  DWORD waited = m_hSynFrameEvent ? WaitForSingleObject(m_hSynFrameEvent, kFrameWaitMs) : WAIT_FAILED;
  if (waited == WAIT_FAILED) {
    if (logLineDue(g_lastWaitFailedLine, kLogIntervalMs)) {
      LogPrint(1, "CVCamStream::FillBuffer,WaitForSingleObject m_hSynFrameEvent is FAILED");
    }
    // An event that can't be had (its name taken by an object of another kind, say) doesn't end
    // the stream: this beat is a time-out, and the event is made again at the next one.
    if (m_hSynFrameEvent) CloseHandle(m_hSynFrameEvent);
    m_hSynFrameEvent = nullptr;
    Sleep(kFrameWaitMs);
    waited = WAIT_TIMEOUT;
  }
  if (waited == WAIT_TIMEOUT) {
    if (++g_frameWaitTimeouts <= kLoggedTimeouts) {
      LogPrint(1, "CVCamStream::FillBuffer,WaitForSingleObject m_hSynFrameEvent is TIMEOUT");
    }
    m_bUpdateParam = true;
    // A mixer that restarted has a new region; the next attach finds it, or nothing.
    if (m_pCaptureShareMemory) m_pCaptureShareMemory->detach();
  }

  if (m_bUpdateParam) {
    LogPrint(1,
             "CVCamStream::FillBuffer UpdateVideoOutParamIntoSharedMemory caused by FillBuffer "
             "m_bUpdateParam==true");
    if (UpdateVideoOutParamIntoSharedMemory()) m_bUpdateParam = false;
  }

  try {
    SetLastError(0);
    if (m_pCameraOutput) {
      FillBufferVideoDirectOutput();
    } else {
      FillBufferVideoMemoryOutput(sample);
    }
  } catch (const std::invalid_argument& error) {
    // The exception's text is handed over but has no place in the line: logs have always read so.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-extra-args"
    LogPrint(1, "zarnmixer error std::invalid_argument! err=", error.what());
    showDeliveryFailureNotice();
  } catch (const std::exception& error) {
    LogPrint(1, "zarnmixer error std::exception! err=", error.what());
#pragma GCC diagnostic pop
    showDeliveryFailureNotice();
  } catch (...) {
    uint32_t now = platform().milliseconds();
    if (now - g_lastCatchAllLine.load() >= kCatchAllLogIntervalMs) {
      LogPrint(1, "zarnmixer error! err=%d", static_cast<int>(GetLastError()));
      g_lastCatchAllLine = now;
    }
    showDeliveryFailureNotice();
  }

  closeSpareHandles();

  if (!m_bVideoOutParamIntoSharedMemorySucceed) {
    m_bFormatChanged = true;
    LogPrint(1,
             "CVCamStream::FillBuffer UpdateVideoOutParamIntoSharedMemory caused by FillBuffer "
             "m_bVideoOutParamIntoSharedMemorySucceed==false");
    UpdateVideoOutParamIntoSharedMemory();
  }
  return S_OK;
}
