#pragma once
// Wine hands out no shared texture handles, so this reader's handles name textures that it
// makes on its own device when asked to open them; everything after the open is the real path.
#include <map>

#include "gpu/d3d_device.h"
#include "gpu/shared_tex_helper.h"
#include "tests/gpu/colour_reference.h"

class ServedTextureHelper : public SharedTexHelper {
 public:
  using SharedTexHelper::SharedTexHelper;

  // From now on `textureId` opens as `image` in `format`, red and blue exchanged for
  // DXGI_FORMAT_B8G8R8A8_UNORM.
  void serve(uint32_t textureId, DXGI_FORMAT format, RgbaImage image) {
    if (format == DXGI_FORMAT_B8G8R8A8_UNORM) image.pixels = exchangeRedBlue(image.pixels);
    m_served[textureId] = {format, image};
  }

 protected:
  HRESULT openSharedResource(ID3D11Device* device, HANDLE handle,
                             ID3D11Texture2D** texture) override {
    auto found = m_served.find(uint32_t(reinterpret_cast<uintptr_t>(handle)));
    if (found == m_served.end()) return E_INVALIDARG;
    const RgbaImage& image = found->second.second;
    const D3D11_TEXTURE2D_DESC desc =
        textureDescription(image.width, image.height, found->second.first, D3D11_USAGE_DEFAULT,
                           D3D11_BIND_SHADER_RESOURCE, 0, D3D11_RESOURCE_MISC_SHARED);
    D3D11_SUBRESOURCE_DATA data = {image.pixels.data(), UINT(image.width * 4), 0};
    return device->CreateTexture2D(&desc, &data, texture);
  }

 private:
  std::map<uint32_t, std::pair<DXGI_FORMAT, RgbaImage>> m_served;
};
