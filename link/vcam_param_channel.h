#pragma once
// The channel from the filters to the mixer: the parameter region that holds VCamParamBlock, its
// named mutex, and an auto-reset event that tells the mixer to read the block again.
#include <windows.h>

#include <cstdint>
#include <string>

#include "link/shared_region.h"

class VCamParamChannel {
 public:
  // Opens or creates the mutex, then, holding it, the event.
  VCamParamChannel();
  ~VCamParamChannel();
  VCamParamChannel(const VCamParamChannel&) = delete;
  VCamParamChannel& operator=(const VCamParamChannel&) = delete;

  // Opens the region, or creates it with these values when no process has it. An existing
  // block is left as it stands.
  void openOrCreate(int32_t width, int32_t height, int32_t fps, uint32_t fourcc);
  // The region is mapped; until then every access below is one without a region.
  bool isOpen() const { return m_region.view() != nullptr; }

  // Filter side. Each access is one hold of the mutex. Without a region (one that another
  // process made and this one may not map, say) there is no channel: connections are allowed,
  // writes go nowhere, reads give 0, and one line a minute says so. A mutex that another process
  // keeps past the wait's bound makes the access one without a region.
  uint32_t getOpeningProcessId();
  void setOpeningProcessId(uint32_t pid);
  bool isEnableVCamConnect();
  // The pixel format of the last request, whichever process made it.
  uint32_t getRequestedFourcc();
  // Writes the request and claims the camera for the calling process, in one hold.
  void writeVideoOutParam(uint32_t width, uint32_t height, uint32_t timePerFrame, uint32_t fourcc);
  void writeFilterVersion(uint32_t value);
  void signalParamChange();

  // Mixer side. readVideoOutParam resets the event before it reads, so that no change is lost;
  // without a region it gives 1280 by 720 at 24 fps.
  void readVideoOutParam(int32_t& width, int32_t& height, int32_t& fps, uint32_t& fourcc);
  void setEnableVCamConnect(bool enable);
  int32_t readFilterVersion();
  // Executable name of the camera's holder; empty when nobody holds it.
  std::wstring getOpeningProcessName();
  // What the mixer waits on.
  HANDLE getParamEvent() const { return m_paramEvent; }

 private:
  // The view while `hold` holds the mutex, or null (logged when there is no region).
  uint8_t* block(const SharedRegion::Hold& hold);

  SharedRegion m_region;
  HANDLE m_paramEvent = nullptr;
  DWORD m_openError = 0;
};
