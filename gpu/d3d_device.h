#pragma once
// The few DXGI and Direct3D 11 steps that every GPU user in the module takes the same way.
#include <windows.h>
#include <d3d11.h>
#include <dxgi.h>

// Makes a DXGI factory through "dxgi.dll", found at run time; the library stays loaded.
// Null if the library, its entry or the factory is missing.
IDXGIFactory1* createDxgiFactory(REFIID factoryId);

// The factory a device is made from: IDXGIFactory2 from Windows 8 on, IDXGIFactory1 before.
IDXGIFactory1* createDeviceFactory();

// The Microsoft basic render driver keeps its place among the adapters but is never wanted.
bool isBasicRenderDriver(const DXGI_ADAPTER_DESC& desc);

// A device on `adapter` with BGRA support, feature levels 11_0 down to 9_3.
HRESULT createDeviceOnAdapter(IDXGIAdapter* adapter, ID3D11Device** device,
                              ID3D11DeviceContext** context, D3D_FEATURE_LEVEL* level);

// Why the device stopped working, S_OK while it works. Tests replace it to stand for a driver
// reset, which Wine's software device never has.
extern HRESULT (*g_deviceRemovedReason)(ID3D11Device* device);

// A plain texture: one mip level, one array slice, no multisampling.
D3D11_TEXTURE2D_DESC textureDescription(UINT width, UINT height, DXGI_FORMAT format,
                                        D3D11_USAGE usage, UINT bindFlags, UINT cpuAccessFlags,
                                        UINT miscFlags);

template <typename T>
void releaseAndNull(T*& object) {
  if (object) object->Release();
  object = nullptr;
}
