#include "gpu/special_common.h"

#include "diag/log.h"
#include "gpu/adapter_choice.h"
#include "gpu/d3d_device.h"

SpecialCommon& SpecialCommon::instance() {
  static SpecialCommon common;
  return common;
}

SpecialCommon::SpecialCommon()
    : bestAdapterIndex(findBestAdapterIndex()),
      bestAdapterLuid(findBestAdapterLUid(bestAdapterIndex)) {}

SpecialCommon::~SpecialCommon() {
  LogPrint(1, "SpecialCommon ~SpecialCommon");
  releaseAndNull(m_context);
  releaseAndNull(m_device);
  releaseAndNull(m_adapter);
  releaseAndNull(m_factory);
}

void SpecialCommon::initDevice(uint32_t adapterIndex) {
  releaseAndNull(m_factory);
  m_factory = createDeviceFactory();
  if (!m_factory) return;
  releaseAndNull(m_adapter);
  if (FAILED(m_factory->EnumAdapters1(adapterIndex, &m_adapter))) return;
  releaseAndNull(m_context);
  releaseAndNull(m_device);
  D3D_FEATURE_LEVEL level = D3D_FEATURE_LEVEL(0);
  if (SUCCEEDED(createDeviceOnAdapter(m_adapter, &m_device, &m_context, &level))) {
    m_featureLevel = level;
    m_deviceAdapterIndex = adapterIndex;
    ++m_deviceGeneration;
  }
}

bool SpecialCommon::deviceServes(uint32_t adapterIndex) const {
  return m_device && m_deviceAdapterIndex == adapterIndex &&
         g_deviceRemovedReason(m_device) == S_OK;
}

ID3D11Texture2D* SpecialCommon::createTexture2D(uint32_t width, uint32_t height, DXGI_FORMAT format,
                                                D3D11_USAGE usage, uint32_t misc, uint32_t bind,
                                                uint32_t cpuAccess) {
  if (!m_device) return nullptr;
  D3D11_TEXTURE2D_DESC desc =
      textureDescription(width, height, format, usage, bind, cpuAccess, misc);
  ID3D11Texture2D* texture = nullptr;
  if (FAILED(m_device->CreateTexture2D(&desc, nullptr, &texture))) return nullptr;
  return texture;
}

void SpecialCommon::addUser() {
  std::lock_guard<std::mutex> lock(m_deviceLock);
  ++m_users;
}

void SpecialCommon::removeUser() {
  std::lock_guard<std::mutex> lock(m_deviceLock);
  if (--m_users == 0) destroyDevice();
}

void SpecialCommon::destroyDevice() {
  if (m_context) {
    m_context->ClearState();
    m_context->Flush();
    releaseAndNull(m_context);
  }
  releaseAndNull(m_factory);
  releaseAndNull(m_adapter);
  releaseAndNull(m_device);
  LogPrint(1, "SpecialCommon destroyDevice sucess");
}
