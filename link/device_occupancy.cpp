#include "link/device_occupancy.h"

#include <windows.h>

#include "diag/log.h"
#include "host/process_identity.h"
#include "link/vcam_param_channel.h"

namespace {

constexpr uint32_t kFilterVersion = 4;

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
