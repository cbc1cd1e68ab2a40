#pragma once
// Reads a texture's pixels back through a staging copy on the texture's own device.
#include <cstdint>
#include <cstring>
#include <vector>

#include "gpu/d3d_device.h"

// Rows of 4-byte pixels, top row first, without padding; empty when the texture can't be read.
inline std::vector<uint8_t> readTexturePixels(ID3D11Texture2D* texture) {
  std::vector<uint8_t> pixels;
  if (!texture) return pixels;
  ID3D11Device* device = nullptr;
  ID3D11DeviceContext* context = nullptr;
  texture->GetDevice(&device);
  device->GetImmediateContext(&context);
  D3D11_TEXTURE2D_DESC shape = {};
  texture->GetDesc(&shape);
  const D3D11_TEXTURE2D_DESC desc = textureDescription(
      shape.Width, shape.Height, shape.Format, D3D11_USAGE_STAGING, 0, D3D11_CPU_ACCESS_READ, 0);
  ID3D11Texture2D* staging = nullptr;
  D3D11_MAPPED_SUBRESOURCE mapped = {};
  if (SUCCEEDED(device->CreateTexture2D(&desc, nullptr, &staging))) {
    context->CopyResource(staging, texture);
    if (SUCCEEDED(context->Map(staging, 0, D3D11_MAP_READ, 0, &mapped))) {
      const size_t rowBytes = size_t{desc.Width} * 4;
      pixels.resize(rowBytes * desc.Height);
      for (UINT row = 0; row < desc.Height; ++row) {
        std::memcpy(&pixels[row * rowBytes],
                    static_cast<const uint8_t*>(mapped.pData) + row * mapped.RowPitch, rowBytes);
      }
      context->Unmap(staging, 0);
    }
    staging->Release();
  }
  context->Release();
  device->Release();
  return pixels;
}
