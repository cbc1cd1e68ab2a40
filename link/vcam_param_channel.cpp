#include "link/vcam_param_channel.h"

#include <atomic>

#include "diag/log.h"
#include "host/log_throttle.h"
#include "host/process_identity.h"
#include "link/vcam_param_block.h"

namespace {

const wchar_t kParamBaseName[] = L"ZARNCAM_INT_VIRTUAL_VIDEO_VCAMPARA_SHARE_MEMORY";
const wchar_t kParamEventName[] = L"{5C3AC6B4-EC14-43b0-94F6-0A5A3639494F}__Event_ZarnCam";
const uint32_t kLogIntervalMs = 60000;

std::atomic<uint32_t> g_lastNoRegionLine{0};

}  // namespace

VCamParamChannel::VCamParamChannel() : m_region(kParamBaseName, true) {
  // Under the mutex, so that two processes starting together can't make two events; without it
  // when a hung process keeps it, since the event is made by name and two makers get one object.
  SharedRegion::Hold hold(m_region);
  m_paramEvent = OpenEventW(EVENT_ALL_ACCESS, FALSE, kParamEventName);
  if (!m_paramEvent) m_paramEvent = CreateEventW(nullptr, FALSE, FALSE, kParamEventName);
}

VCamParamChannel::~VCamParamChannel() {
  if (m_paramEvent) CloseHandle(m_paramEvent);
}

void VCamParamChannel::openOrCreate(int32_t width, int32_t height, int32_t fps, uint32_t fourcc) {
  SharedRegion::Hold hold(m_region);
  // Tried again at the stream's next beat.
  if (!hold) return;
  if (m_region.mapOpen(FILE_MAP_WRITE)) return;
  if (m_region.mapCreate(kParamRegionSize)) {
    initParamBlock(m_region.view(), width, height, fps, fourcc);
  } else {
    m_openError = GetLastError();
  }
}

uint8_t* VCamParamChannel::block(const SharedRegion::Hold& hold) {
  if (!hold) return nullptr;
  uint8_t* view = m_region.view();
  if (!view && logLineDue(g_lastNoRegionLine, kLogIntervalMs)) {
    LogPrint(1, "VCamParamChannel: no parameter region, error=%lu; connections allowed, nothing published",
             static_cast<unsigned long>(m_openError));
  }
  return view;
}

uint32_t VCamParamChannel::getOpeningProcessId() {
  SharedRegion::Hold hold(m_region);
  const uint8_t* view = block(hold);
  return view ? readParamField(view, kDeviceOpeningProcessId) : 0;
}

void VCamParamChannel::setOpeningProcessId(uint32_t pid) {
  SharedRegion::Hold hold(m_region);
  if (uint8_t* view = block(hold)) writeParamField(view, kDeviceOpeningProcessId, pid);
}

bool VCamParamChannel::isEnableVCamConnect() {
  SharedRegion::Hold hold(m_region);
  const uint8_t* view = block(hold);
  return !view || readParamField(view, kEnableVCamConnect) == 1;
}

uint32_t VCamParamChannel::getRequestedFourcc() {
  SharedRegion::Hold hold(m_region);
  const uint8_t* view = block(hold);
  return view ? readParamField(view, kFourccOut) : 0;
}

void VCamParamChannel::writeVideoOutParam(uint32_t width, uint32_t height, uint32_t timePerFrame,
                                          uint32_t fourcc) {
  SharedRegion::Hold hold(m_region);
  uint8_t* block = this->block(hold);
  if (!block) return;
  writeParamField(block, kHeightOut, height);
  writeParamField(block, kWidthOut, width);
  writeParamField(block, kTimePerFrame, timePerFrame);
  writeParamField(block, kDeviceOpeningProcessId, GetCurrentProcessId());
  writeParamField(block, kFourccOut, fourcc);
}

void VCamParamChannel::writeFilterVersion(uint32_t value) {
  SharedRegion::Hold hold(m_region);
  if (uint8_t* view = block(hold)) writeParamField(view, kFilterVersion, value);
}

void VCamParamChannel::signalParamChange() { SetEvent(m_paramEvent); }

void VCamParamChannel::readVideoOutParam(int32_t& width, int32_t& height, int32_t& fps,
                                         uint32_t& fourcc) {
  ResetEvent(m_paramEvent);
  SharedRegion::Hold hold(m_region);
  const VideoOutRequest request = decodeVideoOutRequest(hold ? m_region.view() : nullptr);
  width = request.width;
  height = request.height;
  fps = request.fps;
  fourcc = request.fourcc;
}

void VCamParamChannel::setEnableVCamConnect(bool enable) {
  SharedRegion::Hold hold(m_region);
  if (uint8_t* view = block(hold)) writeParamField(view, kEnableVCamConnect, enable ? 1 : 0);
}

int32_t VCamParamChannel::readFilterVersion() {
  SharedRegion::Hold hold(m_region);
  const uint8_t* view = block(hold);
  return view ? int32_t(readParamField(view, kFilterVersion)) : 0;
}

std::wstring VCamParamChannel::getOpeningProcessName() {
  const uint32_t pid = getOpeningProcessId();
  return pid == 0 ? std::wstring() : getProcessNameByPid(pid);
}
