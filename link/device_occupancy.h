#pragma once
// Which host holds the camera: one process id in the parameter block, taken by format calls and
// Run, given back by Stop, and cleared by the next host when its holder has gone.
#include <cstdint>

class VCamParamChannel;

// Writes `pid` as the holder and signals the mixer; nothing without a channel.
void setDeviceOpeningProcessId(VCamParamChannel* channel, uint32_t pid);

// Clears the claim when its holder has ended; a holder that lives, even one that can't be
// opened, keeps it.
void HandleOpeningProcessTermination(VCamParamChannel* channel);

// Publishes a host's request: filter version, size, period and format, and with them the claim.
// True when the claim read back is this process's; the mixer has then been signalled.
bool publishVideoOutParam(VCamParamChannel& channel, int32_t width, int32_t height,
                          int32_t avgTimePerFrame, uint32_t fourcc);
