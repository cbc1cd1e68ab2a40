#pragma once
// Brings the mixer's shared texture into system memory in the pixel format of the connected
// type. Colours are converted by a shader draw on a device of its own when the shader compiler
// is at hand, and on the processor, with the same numbers, when not. Worker thread only; no lock.
#include <windows.h>
#include <d3d11.h>
#include <d3dcommon.h>
#include <d3dcompiler.h>
#include <dxgi.h>

#include <cstdint>
#include <string>

#include "delivery/frame_buffer.h"

class SharedTexHelper {
 public:
  SharedTexHelper();
  // Takes the shader compiler from `compilerLibrary`; when that does not load, every frame
  // goes the route without shaders.
  explicit SharedTexHelper(const wchar_t* compilerLibrary);
  virtual ~SharedTexHelper();
  SharedTexHelper(const SharedTexHelper&) = delete;
  SharedTexHelper& operator=(const SharedTexHelper&) = delete;

  // Opens the texture behind shared handle `textureId`, on the device of `adapterIndex` or,
  // failing that, of any adapter that can; false when none can. Its size is then known.
  bool openTexture(uint32_t adapterIndex, uint32_t textureId);
  uint32_t textureWidth() const { return m_width; }
  uint32_t textureHeight() const { return m_height; }

  // Reads the texture behind shared handle `textureId` into `target` ("RGBA", "RGB3", "I420"
  // or "NV12", the texture's size), holding the texture's keyed mutex with `keyedMutexKey`
  // for the draw or copy. False when nothing was written.
  bool getFrameFromSharedTex(uint32_t adapterIndex, uint32_t textureId, FrameBuffer& target,
                             uint64_t keyedMutexKey, bool is709, bool isFullRange);

  // Rebuilds target, read-back texture and shaders for a conversion into `toFormat`. Without
  // an open texture, a compiler or a device above feature level 9_3 it leaves them unmade.
  void createConversionObjects(bool is709, bool isFullRange, uint32_t toFormat);

 protected:
  // Opens the texture behind `handle` on `device`. Tests serve textures of their own here,
  // since Wine gives out no shared handles.
  virtual HRESULT openSharedResource(ID3D11Device* device, HANDLE handle,
                                     ID3D11Texture2D** texture);

 private:
  // Replaces the device, releasing the one before: an adapter change must not leak it.
  void initDeviceForAdapter(uint32_t index);
  void releaseDevice();
  void openSharedTexture(uint32_t textureId);
  void findAdapterOfSharedTexture(uint32_t textureId);
  HRESULT createFrameView(ID3D11ShaderResourceView** view);
  // One mip, one layer, one sample: staging for reading back, or else a render target.
  HRESULT createTexture(uint32_t width, uint32_t height, DXGI_FORMAT format, bool staging,
                        ID3D11Texture2D** texture);
  void acquireFrameKey();
  void releaseFrameKey();

  bool readFrame(FrameBuffer& target);
  bool readConvertedFrame(FrameBuffer& target);
  void renderConversion();
  bool readPlainFrame(FrameBuffer& target);

  bool makeConversionObjects(uint32_t width, uint32_t height, DXGI_FORMAT format);
  bool compileStage(const std::string& source, const char* entry, const char* profile,
                    ID3DBlob** blob);
  void bindConversionObjects(uint32_t width, uint32_t height);
  void releaseConversionObjects();

  uint32_t m_textureId = 0;
  uint32_t m_adapterIndex = 0;
  uint32_t m_width = 0;
  uint32_t m_height = 0;
  DXGI_FORMAT m_format = DXGI_FORMAT_UNKNOWN;
  IDXGIFactory1* m_factory = nullptr;
  IDXGIAdapter1* m_adapter = nullptr;
  ID3D11Device* m_device = nullptr;
  ID3D11DeviceContext* m_context = nullptr;
  ID3D11Texture2D* m_sharedTexture = nullptr;
  IDXGIKeyedMutex* m_keyedMutex = nullptr;
  ID3D11Texture2D* m_copyTexture = nullptr;
  D3D_FEATURE_LEVEL m_featureLevel = D3D_FEATURE_LEVEL(0);
  HMODULE m_compilerModule = nullptr;
  pD3DCompile m_D3DCompile = nullptr;
  ID3D11Texture2D* m_readbackTexture = nullptr;
  ID3D11Texture2D* m_targetTexture = nullptr;
  ID3DBlob* m_vertexBlob = nullptr;
  ID3DBlob* m_pixelBlob = nullptr;
  ID3D11VertexShader* m_vertexShader = nullptr;
  ID3D11PixelShader* m_pixelShader = nullptr;
  ID3D11InputLayout* m_inputLayout = nullptr;
  ID3D11Buffer* m_vertexBuffer = nullptr;
  ID3D11RenderTargetView* m_targetView = nullptr;
  ID3D11SamplerState* m_sampler = nullptr;
  bool m_conversionReady = false;
  bool m_is709 = false;
  bool m_isFullRange = false;
  uint32_t m_toFormat = 0;
  uint64_t m_keyedMutexKey = 0;
};
