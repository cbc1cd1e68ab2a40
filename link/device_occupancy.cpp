#include "link/device_occupancy.h"

#include <windows.h>

#include <mutex>

#include "diag/log.h"
#include "host/process_identity.h"
#include "link/vcam_param_channel.h"

namespace {

constexpr uint32_t kFilterVersion = 4;

// The filters of this process that hold its claim, and the lock that keeps the count and the
// claim's last write in step.
std::mutex g_sharesLock;
int g_shares = 0;

}  // namespace

void setDeviceOpeningProcessId(VCamParamChannel* channel, uint32_t pid) {
  if (!channel) return;
  LogPrint(1, "CVCamStream::setDeviceOpeningProcessId with pid=%d", int(pid));
  channel->setOpeningProcessId(pid);
  channel->signalParamChange();
}

void HandleOpeningProcessTermination(VCamParamChannel* channel) {
  if (!channel) return;
  const uint32_t holder = channel->getOpeningProcessId();
  if (holder == 0) return;
  LogPrint(1, "CVCamStream::HandleOpeningProcessTermination device maybe currently used by pid=%d",
           int(holder));

  HANDLE process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, holder);
  if (process) {
    const DWORD result = WaitForSingleObject(process, 0);
    CloseHandle(process);
    LogPrint(1, "CVCamStream::HandleOpeningProcessTermination WaitForSingleObject result=%d",
             int(result));
    if (result == WAIT_TIMEOUT) return;
    LogPrint(1,
             "CVCamStream::HandleOpeningProcessTermination but the using process has no response, "
             "so we reset vcam");
    setDeviceOpeningProcessId(channel, 0);
    return;
  }

  const DWORD error = GetLastError();
  LogPrint(1, "CVCamStream::HandleOpeningProcessTermination OpenProcess error = %d", int(error));
  // A holder that runs with higher rights can't be opened but still shows in the snapshot.
  if (error != 0 && isProcessRunning(holder)) return;
  LogPrint(1,
           "CVCamStream::HandleOpeningProcessTermination but the using process is not exist, so "
           "we reset vcam");
  setDeviceOpeningProcessId(channel, 0);
}

bool publishVideoOutParam(VCamParamChannel& channel, int32_t width, int32_t height,
                          int32_t avgTimePerFrame, uint32_t fourcc) {
  channel.writeFilterVersion(kFilterVersion);
  channel.writeVideoOutParam(uint32_t(width), uint32_t(height), uint32_t(avgTimePerFrame), fourcc);
  if (channel.getOpeningProcessId() != GetCurrentProcessId()) return false;
  channel.signalParamChange();
  return true;
}

void ClaimShare::take(VCamParamChannel* channel) {
  if (!channel) return;
  std::lock_guard<std::mutex> lock(g_sharesLock);
  setDeviceOpeningProcessId(channel, GetCurrentProcessId());
  if (!m_counted) ++g_shares;
  m_counted = true;
}

bool ClaimShare::publish(VCamParamChannel& channel, int32_t width, int32_t height,
                         int32_t avgTimePerFrame, uint32_t fourcc) {
  std::lock_guard<std::mutex> lock(g_sharesLock);
  const bool held = publishVideoOutParam(channel, width, height, avgTimePerFrame, fourcc);
  if (held && !m_counted) ++g_shares;
  m_counted = m_counted || held;
  return held;
}

void ClaimShare::giveBack(VCamParamChannel* channel) {
  std::lock_guard<std::mutex> lock(g_sharesLock);
  if (!m_counted) return;
  m_counted = false;
  if (--g_shares != 0 || !channel) return;
  if (channel->getOpeningProcessId() == GetCurrentProcessId()) setDeviceOpeningProcessId(channel, 0);
}
