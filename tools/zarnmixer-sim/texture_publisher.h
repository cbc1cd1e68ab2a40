#pragma once
// The mixer's GPU way of publishing: each frame is uploaded into one shared texture per size,
// blue first and top row first, behind a keyed mutex with key 0, and the record names the
// texture by its shared handle.
#include <windows.h>
#include <d3d11.h>
#include <dxgi.h>

#include <cstdint>
#include <string>

class TexturePublisher {
 public:
  TexturePublisher() = default;
  ~TexturePublisher();
  TexturePublisher(const TexturePublisher&) = delete;
  TexturePublisher& operator=(const TexturePublisher&) = delete;

  // Makes the device once and a texture of this size; false with `error` saying what the
  // platform refused. A size already prepared costs nothing.
  bool prepare(int32_t width, int32_t height, std::string& error);
  // Copies `pixels` (width * 4 bytes a row) into the texture under the keyed mutex.
  void upload(const uint8_t* pixels);

  uint32_t textureId() const { return m_textureId; }
  LUID adapterLuid() const { return m_adapterLuid; }
  static constexpr uint32_t kAdapterIndex = 0;
  static constexpr uint64_t kKey = 0;

 private:
  bool makeDevice(std::string& error);
  void releaseTexture();

  ID3D11Device* m_device = nullptr;
  ID3D11DeviceContext* m_context = nullptr;
  LUID m_adapterLuid = {};
  ID3D11Texture2D* m_texture = nullptr;
  IDXGIKeyedMutex* m_keyedMutex = nullptr;
  uint32_t m_textureId = 0;
  int32_t m_width = 0;
  int32_t m_height = 0;
};
