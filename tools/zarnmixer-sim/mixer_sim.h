#pragma once
// The reference mixer: owns the frame region as its writer, follows the hosts' requests in the
// parameter block and publishes the test pattern at a steady rate, in the layout and row order of
// the requested format (tools/zarnmixer-sim/frame_layout.h): 32-bit bottom row first for RGB,
// planar top row first for "I420" and "NV12". A host thus shows the pattern right way up.
#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "link/capture_share_memory_mgr.h"
#include "link/vcam_param_channel.h"
#include "tools/zarnmixer-sim/options.h"
#include "tools/zarnmixer-sim/texture_publisher.h"

class MixerSim {
 public:
  explicit MixerSim(const MixerSimOptions& options);
  ~MixerSim();
  MixerSim(const MixerSim&) = delete;
  MixerSim& operator=(const MixerSim&) = delete;

  // Runs until `stopEvent` is set or a limit is reached; the process exit code.
  int run(HANDLE stopEvent);

 private:
  bool createFrameRegion();
  void followRequest();
  // False when a texture frame could not be published; the run then ends.
  bool publishFrame();
  bool publishTexture(CaptureFrameRecord& record);

  MixerSimOptions m_options;
  CaptureShareMemoryMgr m_frames;
  VCamParamChannel m_params;
  HANDLE m_frameEvent = nullptr;
  int64_t m_bufferBytes = 0;
  int32_t m_width = 0;
  int32_t m_height = 0;
  uint32_t m_fourcc = 0;
  std::vector<uint8_t> m_picture;
  uint32_t m_published = 0;
  std::string m_lastRequestLine;
  TexturePublisher m_textures;
};
