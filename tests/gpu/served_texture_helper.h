#pragma once
// Wine hands out no shared texture handles, so this reader's handles name textures that it
// makes on its own device when asked to open them; everything after the open is the real path.
#include <map>

#include "gpu/shared_tex_helper.h"
#include "tests/gpu/colour_reference.h"

class ServedTextureHelper : public SharedTexHelper {
 public:
  using SharedTexHelper::SharedTexHelper;

  // From now on `textureId` opens as `image` in `format`, red and blue exchanged for
  // DXGI_FORMAT_B8G8R8A8_UNORM.
  void serve(uint32_t textureId, DXGI_FORMAT format, const RgbaImage& image);

 protected:
  HRESULT openSharedResource(ID3D11Device* device, HANDLE handle,
                             ID3D11Texture2D** texture) override;

 private:
  std::map<uint32_t, std::pair<DXGI_FORMAT, RgbaImage>> m_served;
};
