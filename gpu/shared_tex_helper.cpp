#include "gpu/shared_tex_helper.h"

#include "delivery/format_tags.h"
#include "gpu/d3d_device.h"

namespace {

const DWORD kKeyedMutexWaitMs = 40;

bool isReadableTag(uint32_t tag) {
  return tag == kTagRGBA || tag == kTagRGB3 || tag == kTagI420 || tag == kTagNV12;
}

}  // namespace

SharedTexHelper::SharedTexHelper() : SharedTexHelper(L"d3dcompiler_47.dll") {}

SharedTexHelper::SharedTexHelper(const wchar_t* compilerLibrary) {
  m_compilerModule = LoadLibraryW(compilerLibrary);
  if (m_compilerModule) {
    m_D3DCompile = reinterpret_cast<pD3DCompile>(
        reinterpret_cast<void*>(GetProcAddress(m_compilerModule, "D3DCompile")));
  }
}

SharedTexHelper::~SharedTexHelper() {
  releaseAndNull(m_keyedMutex);
  if (m_context) {
    m_context->ClearState();
    m_context->Flush();
  }
  releaseAndNull(m_sharedTexture);
  releaseAndNull(m_copyTexture);
  releaseDevice();
  m_conversionReady = false;
  releaseConversionObjects();
  if (m_compilerModule) FreeLibrary(m_compilerModule);
}

bool SharedTexHelper::openTexture(uint32_t adapterIndex, uint32_t textureId) {
  if (textureId == 0) return false;
  if (textureId != m_textureId && (!m_device || adapterIndex != m_adapterIndex)) {
    initDeviceForAdapter(adapterIndex);
  }
  if (!m_device) return false;

  if (!m_sharedTexture || !m_copyTexture || textureId != m_textureId) {
    releaseAndNull(m_sharedTexture);
    releaseAndNull(m_copyTexture);
    m_textureId = textureId;
    // No format is a tag: the next read builds conversion objects for this texture.
    m_toFormat = 0;
    openSharedTexture(textureId);
    if (!m_sharedTexture) findAdapterOfSharedTexture(textureId);
    if (m_sharedTexture) {
      releaseAndNull(m_keyedMutex);
      m_sharedTexture->QueryInterface(__uuidof(IDXGIKeyedMutex),
                                      reinterpret_cast<void**>(&m_keyedMutex));
      createTexture(m_width, m_height, m_format, true, &m_copyTexture);
    }
  }
  return m_copyTexture != nullptr;
}

bool SharedTexHelper::getFrameFromSharedTex(uint32_t adapterIndex, uint32_t textureId,
                                            FrameBuffer& target, uint64_t keyedMutexKey,
                                            bool is709, bool isFullRange) {
  m_keyedMutexKey = keyedMutexKey;
  if (!openTexture(adapterIndex, textureId)) return false;
  // A change of matrix, range or format recompiles; a steady stream compiles once.
  if (is709 != m_is709 || isFullRange != m_isFullRange || target.fourcc != m_toFormat) {
    createConversionObjects(is709, isFullRange, target.fourcc);
  }
  return readFrame(target);
}

void SharedTexHelper::initDeviceForAdapter(uint32_t index) {
  m_adapterIndex = index;
  releaseDevice();
  m_factory = createDeviceFactory();
  if (!m_factory) return;
  if (FAILED(m_factory->EnumAdapters1(index, &m_adapter))) return;
  D3D_FEATURE_LEVEL level = D3D_FEATURE_LEVEL(0);
  if (SUCCEEDED(createDeviceOnAdapter(m_adapter, &m_device, &m_context, &level))) {
    m_featureLevel = level;
  }
}

void SharedTexHelper::releaseDevice() {
  releaseAndNull(m_context);
  releaseAndNull(m_device);
  releaseAndNull(m_adapter);
  releaseAndNull(m_factory);
}

HRESULT SharedTexHelper::openSharedResource(ID3D11Device* device, HANDLE handle,
                                            ID3D11Texture2D** texture) {
  return device->OpenSharedResource(handle, __uuidof(ID3D11Texture2D),
                                    reinterpret_cast<void**>(texture));
}

void SharedTexHelper::openSharedTexture(uint32_t textureId) {
  HANDLE handle = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(textureId));
  if (FAILED(openSharedResource(m_device, handle, &m_sharedTexture)) || !m_sharedTexture) return;
  D3D11_TEXTURE2D_DESC desc = {};
  m_sharedTexture->GetDesc(&desc);
  m_width = desc.Width;
  m_height = desc.Height;
  m_format = desc.Format;
  // Only a probe: each draw makes a view of its own.
  ID3D11ShaderResourceView* view = nullptr;
  createFrameView(&view);
  releaseAndNull(view);
}

void SharedTexHelper::findAdapterOfSharedTexture(uint32_t textureId) {
  IDXGIFactory1* factory = createDxgiFactory(__uuidof(IDXGIFactory1));
  if (!factory) return;
  IDXGIAdapter* adapter = nullptr;
  for (UINT index = 0; !m_sharedTexture && factory->EnumAdapters(index, &adapter) == S_OK;
       ++index) {
    DXGI_ADAPTER_DESC desc = {};
    if (SUCCEEDED(adapter->GetDesc(&desc)) && !isBasicRenderDriver(desc)) {
      D3D_FEATURE_LEVEL level = D3D_FEATURE_LEVEL(0);
      // A texture that no adapter opens sends every frame through here: nothing may pile up.
      releaseAndNull(m_context);
      releaseAndNull(m_device);
      if (SUCCEEDED(createDeviceOnAdapter(adapter, &m_device, &m_context, &level))) {
        m_featureLevel = level;
        openSharedTexture(textureId);
      }
    }
    releaseAndNull(adapter);
  }
  factory->Release();
}

HRESULT SharedTexHelper::createFrameView(ID3D11ShaderResourceView** view) {
  D3D11_SHADER_RESOURCE_VIEW_DESC viewDesc = {};
  viewDesc.Format = m_format;
  viewDesc.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
  viewDesc.Texture2D.MostDetailedMip = 0;
  viewDesc.Texture2D.MipLevels = 1;
  return m_device->CreateShaderResourceView(m_sharedTexture, &viewDesc, view);
}

HRESULT SharedTexHelper::createTexture(uint32_t width, uint32_t height, DXGI_FORMAT format,
                                       bool staging, ID3D11Texture2D** texture) {
  const D3D11_TEXTURE2D_DESC desc =
      staging ? textureDescription(width, height, format, D3D11_USAGE_STAGING, 0,
                                   D3D11_CPU_ACCESS_READ, 0)
              : textureDescription(width, height, format, D3D11_USAGE_DEFAULT,
                                   D3D11_BIND_RENDER_TARGET, 0, 0);
  return m_device->CreateTexture2D(&desc, nullptr, texture);
}

// The wait's result is not looked at: after 40 ms without the key the frame is read anyway.
void SharedTexHelper::acquireFrameKey() {
  if (m_keyedMutex) m_keyedMutex->AcquireSync(m_keyedMutexKey, kKeyedMutexWaitMs);
}

void SharedTexHelper::releaseFrameKey() {
  if (m_keyedMutex) m_keyedMutex->ReleaseSync(m_keyedMutexKey);
}

bool SharedTexHelper::readFrame(FrameBuffer& target) {
  if (uint32_t(target.width) != m_width || uint32_t(target.height) != m_height) return false;
  if (!isReadableTag(target.fourcc)) return false;
  if (m_format != DXGI_FORMAT_R8G8B8A8_UNORM && m_format != DXGI_FORMAT_B8G8R8A8_UNORM) {
    return false;
  }
  // "RGBA" from a blue-first texture needs no shader: its bytes already lie right, and the plain
  // route narrows the range for a host that wants it limited.
  const bool byShader = target.fourcc != kTagRGBA || m_format == DXGI_FORMAT_R8G8B8A8_UNORM;
  if (m_conversionReady && byShader) return readConvertedFrame(target);
  return readPlainFrame(target);
}
