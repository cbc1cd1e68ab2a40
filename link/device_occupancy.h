#pragma once
// Which host holds the camera: one process id in the parameter block, taken by format calls and
// Run, given back by Stop, and cleared by the next host when its holder has gone.
#include <cstdint>

class VCamParamChannel;

// One filter's part in its process's claim. All filters of a process share the one claim: it is
// given back when the last filter that took it lets go, and only while it still names the process.
class ClaimShare {
 public:
  ClaimShare() = default;
  ClaimShare(const ClaimShare&) = delete;
  ClaimShare& operator=(const ClaimShare&) = delete;

  // Writes this process as the holder and signals the mixer; nothing without a channel.
  void take(VCamParamChannel* channel);
  // publishVideoOutParam below, this filter counted in when the claim read back is this process's.
  bool publish(VCamParamChannel& channel, int32_t width, int32_t height, int32_t avgTimePerFrame,
               uint32_t fourcc);
  // Counts this filter out; the process's last share clears a claim that still names it.
  void giveBack(VCamParamChannel* channel);

 private:
  bool m_counted = false;
};

// Writes `pid` as the holder and signals the mixer; nothing without a channel.
void setDeviceOpeningProcessId(VCamParamChannel* channel, uint32_t pid);

// Clears the claim when its holder has ended; a holder that lives, even one that can't be
// opened, keeps it.
void HandleOpeningProcessTermination(VCamParamChannel* channel);

// Publishes a host's request: filter version, size, period and format, and with them the claim.
// True when the claim read back is this process's; the mixer has then been signalled.
bool publishVideoOutParam(VCamParamChannel& channel, int32_t width, int32_t height,
                          int32_t avgTimePerFrame, uint32_t fourcc);
