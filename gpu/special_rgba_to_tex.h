#pragma once
// Uploads a red-first 32-bit image from memory into a shared texture that a client in the
// same process opens by its id: the placeholder of the direct path.
#include <d3d11.h>
#include <windows.h>

#include <cstdint>

class SpecialRGBAToTex {
 public:
  SpecialRGBAToTex();
  ~SpecialRGBAToTex();
  SpecialRGBAToTex(const SpecialRGBAToTex&) = delete;
  SpecialRGBAToTex& operator=(const SpecialRGBAToTex&) = delete;

  // Copies `height` rows of `stride` bytes into the shared texture, remaking both textures when
  // the size or the device changes. The device is kept while it works on the adapter asked for. False for an empty size or a texture that can't be written; after such a
  // failure the next tries wait, longer each time.
  bool memoryUploadTex(uint32_t adapterIndex, const uint8_t* data, uint32_t width, uint32_t height,
                       uint32_t stride);
  // Low half of the shared texture's handle; it keeps its value when a new handle can't be had.
  uint32_t getSharedTextureId() const { return m_sharedTextureId; }
  // The texture that the id names.
  ID3D11Texture2D* sharedTexture() const { return m_sharedTexture; }
  void releseTex();

 private:
  void createSharedTex();

  // The device that made the textures: they are made again on a device that replaced it.
  uint32_t m_deviceGeneration = 0;
  uint32_t m_width = 0;
  uint32_t m_height = 0;
  uint32_t m_sharedTextureId = 0;
  DXGI_FORMAT m_format = DXGI_FORMAT_R8G8B8A8_UNORM;
  uint32_t m_failedAt = 0;
  uint32_t m_retryDelayMs = 0;
  ID3D11Texture2D* m_uploadTexture = nullptr;
  ID3D11Texture2D* m_sharedTexture = nullptr;
};
