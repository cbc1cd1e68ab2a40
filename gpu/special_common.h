#pragma once
// Process-wide: the chosen adapter, and the device on which the filter's own textures live.
#include <d3d11.h>
#include <dxgi.h>
#include <windows.h>

#include <cstdint>
#include <mutex>

class SpecialCommon {
 public:
  // Made on first use; the adapter choice is made then and never again.
  static SpecialCommon& instance();
  ~SpecialCommon();
  SpecialCommon(const SpecialCommon&) = delete;
  SpecialCommon& operator=(const SpecialCommon&) = delete;

  uint32_t getBestAdapterIndex() const { return bestAdapterIndex; }
  LUID getBestAdapterLuid() const { return bestAdapterLuid; }

  // Makes factory, adapter, device and context anew on adapter `adapterIndex`.
  void initDevice(uint32_t adapterIndex);
  // A device made on `adapterIndex` that still works: a driver reset removes it.
  bool deviceServes(uint32_t adapterIndex) const;
  // Counts the devices made, so that textures of one that was replaced are known.
  uint32_t deviceGeneration() const { return m_deviceGeneration; }
  // Null without a device or when creation fails.
  ID3D11Texture2D* createTexture2D(uint32_t width, uint32_t height, DXGI_FORMAT format,
                                   D3D11_USAGE usage, uint32_t misc, uint32_t bind,
                                   uint32_t cpuAccess);
  // Each uploader of the process is a user; the last one to leave destroys the device and leaves
  // the adapter choice, so that the next user makes the device again.
  void addUser();
  void removeUser();
  // Held for any use of the device or its context: streams of one process share them.
  std::mutex& deviceLock() { return m_deviceLock; }

  ID3D11Device* device() const { return m_device; }
  ID3D11DeviceContext* context() const { return m_context; }

 private:
  SpecialCommon();
  void destroyDevice();

  uint32_t bestAdapterIndex = 0;
  LUID bestAdapterLuid = {};
  IDXGIFactory1* m_factory = nullptr;
  IDXGIAdapter1* m_adapter = nullptr;
  ID3D11Device* m_device = nullptr;
  ID3D11DeviceContext* m_context = nullptr;
  D3D_FEATURE_LEVEL m_featureLevel = D3D_FEATURE_LEVEL(0);
  uint32_t m_deviceAdapterIndex = 0;
  uint32_t m_deviceGeneration = 0;
  std::mutex m_deviceLock;
  int m_users = 0;
};
