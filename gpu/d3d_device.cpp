#include "gpu/d3d_device.h"

#include <dxgi1_2.h>

namespace {

using CreateFactoryFunction = HRESULT(WINAPI*)(REFIID, void**);

const UINT kBasicRenderVendorId = 0x1414;
const UINT kBasicRenderDeviceId = 0x8C;

bool isAtLeastWindows8() {
  OSVERSIONINFOEXW version = {};
  version.dwOSVersionInfoSize = sizeof(version);
  version.dwMajorVersion = 6;
  version.dwMinorVersion = 2;
  version.wServicePackMajor = 0;
  ULONGLONG condition = 0;
  condition = VerSetConditionMask(condition, VER_MAJORVERSION, VER_GREATER_EQUAL);
  condition = VerSetConditionMask(condition, VER_MINORVERSION, VER_GREATER_EQUAL);
  condition = VerSetConditionMask(condition, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
  return VerifyVersionInfoW(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR,
                            condition) != FALSE;
}

}  // namespace

HRESULT (*g_deviceRemovedReason)(ID3D11Device* device) = [](ID3D11Device* device) {
  return device->GetDeviceRemovedReason();
};

IDXGIFactory1* createDxgiFactory(REFIID factoryId) {
  HMODULE dxgi = LoadLibraryA("dxgi.dll");
  if (!dxgi) return nullptr;
  auto create = reinterpret_cast<CreateFactoryFunction>(
      reinterpret_cast<void*>(GetProcAddress(dxgi, "CreateDXGIFactory1")));
  if (!create) {
    FreeLibrary(dxgi);
    return nullptr;
  }
  IDXGIFactory1* factory = nullptr;
  if (FAILED(create(factoryId, reinterpret_cast<void**>(&factory)))) {
    FreeLibrary(dxgi);
    return nullptr;
  }
  return factory;
}

IDXGIFactory1* createDeviceFactory() {
  return createDxgiFactory(isAtLeastWindows8() ? __uuidof(IDXGIFactory2)
                                               : __uuidof(IDXGIFactory1));
}

bool isBasicRenderDriver(const DXGI_ADAPTER_DESC& desc) {
  return desc.VendorId == kBasicRenderVendorId && desc.DeviceId == kBasicRenderDeviceId;
}

HRESULT createDeviceOnAdapter(IDXGIAdapter* adapter, ID3D11Device** device,
                              ID3D11DeviceContext** context, D3D_FEATURE_LEVEL* level) {
  const D3D_FEATURE_LEVEL levels[] = {D3D_FEATURE_LEVEL_11_0, D3D_FEATURE_LEVEL_10_1,
                                      D3D_FEATURE_LEVEL_10_0, D3D_FEATURE_LEVEL_9_3};
  return D3D11CreateDevice(adapter, D3D_DRIVER_TYPE_UNKNOWN, nullptr,
                           D3D11_CREATE_DEVICE_BGRA_SUPPORT, levels, ARRAYSIZE(levels),
                           D3D11_SDK_VERSION, device, level, context);
}

D3D11_TEXTURE2D_DESC textureDescription(UINT width, UINT height, DXGI_FORMAT format,
                                        D3D11_USAGE usage, UINT bindFlags, UINT cpuAccessFlags,
                                        UINT miscFlags) {
  D3D11_TEXTURE2D_DESC desc = {};
  desc.Width = width;
  desc.Height = height;
  desc.MipLevels = 1;
  desc.ArraySize = 1;
  desc.Format = format;
  desc.SampleDesc.Count = 1;
  desc.Usage = usage;
  desc.BindFlags = bindFlags;
  desc.CPUAccessFlags = cpuAccessFlags;
  desc.MiscFlags = miscFlags;
  return desc;
}
