#include "tests/gpu/served_texture_helper.h"

#include "gpu/d3d_device.h"

void ServedTextureHelper::serve(uint32_t textureId, DXGI_FORMAT format, const RgbaImage& image) {
  RgbaImage stored = image;
  if (format == DXGI_FORMAT_B8G8R8A8_UNORM) stored.pixels = exchangeRedBlue(image.pixels);
  m_served[textureId] = {format, stored};
}

HRESULT ServedTextureHelper::openSharedResource(ID3D11Device* device, HANDLE handle,
                                                ID3D11Texture2D** texture) {
  auto found = m_served.find(uint32_t(reinterpret_cast<uintptr_t>(handle)));
  if (found == m_served.end()) return E_INVALIDARG;
  const RgbaImage& image = found->second.second;
  const D3D11_TEXTURE2D_DESC desc =
      textureDescription(image.width, image.height, found->second.first, D3D11_USAGE_DEFAULT,
                         D3D11_BIND_SHADER_RESOURCE, 0, D3D11_RESOURCE_MISC_SHARED);
  D3D11_SUBRESOURCE_DATA data = {image.pixels.data(), UINT(image.width * 4), 0};
  return device->CreateTexture2D(&desc, &data, texture);
}
