#include "tools/zarnmixer-sim/texture_publisher.h"

#include <cstdio>

#include "gpu/d3d_device.h"

namespace {

std::string describe(const char* step, HRESULT result) {
  char text[160];
  std::snprintf(text, sizeof(text), "%s failed (hr 0x%08lX)", step, static_cast<unsigned long>(result));
  return text;
}

}  // namespace

TexturePublisher::~TexturePublisher() {
  releaseTexture();
  releaseAndNull(m_context);
  releaseAndNull(m_device);
}

void TexturePublisher::releaseTexture() {
  releaseAndNull(m_keyedMutex);
  releaseAndNull(m_texture);
  m_textureId = 0;
  m_width = 0;
  m_height = 0;
}

bool TexturePublisher::makeDevice(std::string& error) {
  IDXGIFactory1* factory = createDeviceFactory();
  if (!factory) {
    error = "no DXGI factory";
    return false;
  }
  IDXGIAdapter1* adapter = nullptr;
  HRESULT result = factory->EnumAdapters1(kAdapterIndex, &adapter);
  if (SUCCEEDED(result)) {
    DXGI_ADAPTER_DESC desc = {};
    if (SUCCEEDED(adapter->GetDesc(&desc))) m_adapterLuid = desc.AdapterLuid;
    D3D_FEATURE_LEVEL level = {};
    result = createDeviceOnAdapter(adapter, &m_device, &m_context, &level);
    if (FAILED(result)) error = describe("D3D11CreateDevice", result);
  } else {
    error = describe("EnumAdapters1(0)", result);
  }
  releaseAndNull(adapter);
  factory->Release();
  return m_device != nullptr;
}

bool TexturePublisher::prepare(int32_t width, int32_t height, std::string& error) {
  if (m_texture && width == m_width && height == m_height) return true;
  if (!m_device && !makeDevice(error)) return false;
  releaseTexture();

  D3D11_TEXTURE2D_DESC desc = {};
  desc.Width = UINT(width);
  desc.Height = UINT(height);
  desc.MipLevels = 1;
  desc.ArraySize = 1;
  desc.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
  desc.SampleDesc.Count = 1;
  desc.Usage = D3D11_USAGE_DEFAULT;
  desc.BindFlags = D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET;
  desc.MiscFlags = D3D11_RESOURCE_MISC_SHARED_KEYEDMUTEX;
  HRESULT result = m_device->CreateTexture2D(&desc, nullptr, &m_texture);
  if (FAILED(result)) {
    error = describe("CreateTexture2D with a keyed mutex", result);
    return false;
  }
  m_texture->QueryInterface(__uuidof(IDXGIKeyedMutex), reinterpret_cast<void**>(&m_keyedMutex));

  IDXGIResource* resource = nullptr;
  HANDLE shared = nullptr;
  result = m_texture->QueryInterface(__uuidof(IDXGIResource), reinterpret_cast<void**>(&resource));
  if (SUCCEEDED(result)) result = resource->GetSharedHandle(&shared);
  releaseAndNull(resource);
  if (FAILED(result) || !shared) {
    error = describe("the platform refused a shared handle for the texture: GetSharedHandle", result);
    releaseTexture();
    return false;
  }
  // Shared handles of this kind are 32-bit values, whatever the pointer size.
  m_textureId = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(shared));
  m_width = width;
  m_height = height;
  return true;
}

void TexturePublisher::upload(const uint8_t* pixels) {
  if (m_keyedMutex) m_keyedMutex->AcquireSync(kKey, INFINITE);
  m_context->UpdateSubresource(m_texture, 0, nullptr, pixels, UINT(m_width) * 4, 0);
  m_context->Flush();
  if (m_keyedMutex) m_keyedMutex->ReleaseSync(kKey);
}
