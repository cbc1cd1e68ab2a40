// The shader route of SharedTexHelper: the conversion objects, the draw and the read-back.
#include <libyuv/planar_functions.h>

#include "delivery/format_tags.h"
#include "diag/log.h"
#include "gpu/conversion_shaders.h"
#include "gpu/d3d_device.h"
#include "gpu/shared_tex_helper.h"

namespace {

// A quad over the whole target, as a triangle list: x, y, z, then u, v.
const float kQuadVertices[6][5] = {
    {-1, 1, 0, 0, 0}, {1, 1, 0, 1, 0}, {-1, -1, 0, 0, 1},
    {1, 1, 0, 1, 0},  {1, -1, 0, 1, 1}, {-1, -1, 0, 0, 1},
};
const UINT kVertexStride = sizeof(kQuadVertices[0]);
static_assert(sizeof(kQuadVertices) == 120, "six vertices of 20 bytes");

}  // namespace

void SharedTexHelper::createConversionObjects(bool is709, bool isFullRange, uint32_t toFormat) {
  LogPrint(1, "SharedTexHelper::createConversionObjects is709:%d isFullRange:%d toFormat:%d",
           is709, isFullRange, int(toFormat));
  m_is709 = is709;
  m_isFullRange = isFullRange;
  m_toFormat = toFormat;
  m_conversionReady = false;
  releaseConversionObjects();
  if (m_featureLevel <= D3D_FEATURE_LEVEL_9_3 || !m_sharedTexture || !m_device || !m_context ||
      !m_compilerModule || !m_D3DCompile) {
    return;
  }

  uint32_t width = m_width;
  uint32_t height = m_height;
  DXGI_FORMAT format = DXGI_FORMAT_R8_UNORM;
  if (toFormat == kTagI420 || toFormat == kTagNV12) {
    height = m_height * 3 >> 1;
  } else if (toFormat == kTagRGBA) {
    format = DXGI_FORMAT_R8G8B8A8_UNORM;
  } else if (toFormat == kTagRGB3) {
    width = m_width * 3;
  } else {
    return;
  }
  if (!makeConversionObjects(width, height, format)) return;

  m_conversionReady = true;
  bindConversionObjects(width, height);
  LogPrint(1, "SharedTexHelper::createConversionObjects end");
}

// Stops at the first failure and leaves what it made for the next rebuild to release.
bool SharedTexHelper::makeConversionObjects(uint32_t width, uint32_t height,
                                            DXGI_FORMAT format) {
  if (FAILED(createTexture(width, height, format, true, &m_readbackTexture)) ||
      FAILED(createTexture(width, height, format, false, &m_targetTexture))) {
    return false;
  }

  const std::string source = conversionShaderSource(m_toFormat, m_is709, m_isFullRange);
  if (!compileStage(source, "vs_main", "vs_4_0", &m_vertexBlob) ||
      !compileStage(source, "ps_main", "ps_4_0", &m_pixelBlob)) {
    return false;
  }
  if (FAILED(m_device->CreateVertexShader(m_vertexBlob->GetBufferPointer(),
                                          m_vertexBlob->GetBufferSize(), nullptr,
                                          &m_vertexShader)) ||
      FAILED(m_device->CreatePixelShader(m_pixelBlob->GetBufferPointer(),
                                         m_pixelBlob->GetBufferSize(), nullptr,
                                         &m_pixelShader))) {
    return false;
  }

  const D3D11_INPUT_ELEMENT_DESC elements[] = {
      {"POSITION", 0, DXGI_FORMAT_R32G32B32_FLOAT, 0, 0, D3D11_INPUT_PER_VERTEX_DATA, 0},
      {"TEXCOORD", 0, DXGI_FORMAT_R32G32_FLOAT, 0, D3D11_APPEND_ALIGNED_ELEMENT,
       D3D11_INPUT_PER_VERTEX_DATA, 0},
  };
  if (FAILED(m_device->CreateInputLayout(elements, ARRAYSIZE(elements),
                                         m_vertexBlob->GetBufferPointer(),
                                         m_vertexBlob->GetBufferSize(), &m_inputLayout))) {
    return false;
  }

  D3D11_BUFFER_DESC bufferDesc = {};
  bufferDesc.ByteWidth = sizeof(kQuadVertices);
  bufferDesc.Usage = D3D11_USAGE_DEFAULT;
  bufferDesc.BindFlags = D3D11_BIND_VERTEX_BUFFER;
  D3D11_SUBRESOURCE_DATA vertexData = {kQuadVertices, 0, 0};
  if (FAILED(m_device->CreateBuffer(&bufferDesc, &vertexData, &m_vertexBuffer))) return false;

  D3D11_RENDER_TARGET_VIEW_DESC viewDesc = {};
  viewDesc.Format = format;
  viewDesc.ViewDimension = D3D11_RTV_DIMENSION_TEXTURE2D;
  viewDesc.Texture2D.MipSlice = 0;
  if (FAILED(m_device->CreateRenderTargetView(m_targetTexture, &viewDesc, &m_targetView))) {
    return false;
  }

  D3D11_SAMPLER_DESC samplerDesc = {};
  samplerDesc.Filter = D3D11_FILTER_MIN_MAG_LINEAR_MIP_POINT;
  samplerDesc.AddressU = D3D11_TEXTURE_ADDRESS_MIRROR;
  samplerDesc.AddressV = D3D11_TEXTURE_ADDRESS_MIRROR;
  samplerDesc.AddressW = D3D11_TEXTURE_ADDRESS_MIRROR;
  samplerDesc.MipLODBias = 0;
  samplerDesc.MaxAnisotropy = 1;
  samplerDesc.ComparisonFunc = D3D11_COMPARISON_ALWAYS;
  samplerDesc.MinLOD = 0;
  samplerDesc.MaxLOD = D3D11_FLOAT32_MAX;
  return SUCCEEDED(m_device->CreateSamplerState(&samplerDesc, &m_sampler));
}

bool SharedTexHelper::compileStage(const std::string& source, const char* entry,
                                   const char* profile, ID3DBlob** blob) {
  ID3DBlob* errors = nullptr;
  HRESULT hr = m_D3DCompile(source.data(), source.size(), nullptr, nullptr, nullptr, entry,
                            profile, D3DCOMPILE_ENABLE_STRICTNESS, 0, blob, &errors);
  if (errors) {
    if (FAILED(hr)) OutputDebugStringA(static_cast<const char*>(errors->GetBufferPointer()));
    errors->Release();
  }
  return SUCCEEDED(hr);
}

// Bound once; per frame only the texture's view changes.
void SharedTexHelper::bindConversionObjects(uint32_t width, uint32_t height) {
  const UINT offset = 0;
  D3D11_VIEWPORT viewport = {0, 0, float(width), float(height), 0, 1};
  m_context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
  m_context->IASetInputLayout(m_inputLayout);
  m_context->IASetVertexBuffers(0, 1, &m_vertexBuffer, &kVertexStride, &offset);
  m_context->VSSetShader(m_vertexShader, nullptr, 0);
  m_context->PSSetShader(m_pixelShader, nullptr, 0);
  m_context->RSSetViewports(1, &viewport);
  m_context->PSSetSamplers(0, 1, &m_sampler);
  m_context->OMSetRenderTargets(1, &m_targetView, nullptr);
}

void SharedTexHelper::releaseConversionObjects() {
  releaseAndNull(m_readbackTexture);
  releaseAndNull(m_targetTexture);
  releaseAndNull(m_vertexBlob);
  releaseAndNull(m_pixelBlob);
  releaseAndNull(m_vertexShader);
  releaseAndNull(m_pixelShader);
  releaseAndNull(m_inputLayout);
  releaseAndNull(m_vertexBuffer);
  releaseAndNull(m_targetView);
  releaseAndNull(m_sampler);
}

void SharedTexHelper::renderConversion() {
  acquireFrameKey();
  ID3D11ShaderResourceView* view = nullptr;
  if (SUCCEEDED(createFrameView(&view))) {
    m_context->PSSetShaderResources(0, 1, &view);
    m_context->Draw(6, 0);
    m_context->Flush();
  }
  releaseAndNull(view);
  releaseFrameKey();
}

bool SharedTexHelper::readConvertedFrame(FrameBuffer& target) {
  renderConversion();
  m_context->CopyResource(m_readbackTexture, m_targetTexture);
  D3D11_MAPPED_SUBRESOURCE mapped = {};
  if (FAILED(m_context->Map(m_readbackTexture, 0, D3D11_MAP_READ, 0, &mapped))) return false;

  const uint8_t* mapping = static_cast<const uint8_t*>(mapped.pData);
  const int pitch = int(mapped.RowPitch);
  const int width = target.width;
  const int height = target.height;
  if (target.fourcc == kTagRGBA) {
    libyuv::ARGBCopy(mapping, pitch, target.plane[0], target.stride[0], width, -height);
  } else if (target.fourcc == kTagRGB3) {
    libyuv::CopyPlane(mapping, pitch, target.plane[0], target.stride[0], width * 3, -height);
  } else {
    // Chroma of (width / 2) by (height / 2), all that the image's layout holds: libyuv's own
    // copies round odd sizes up and would write past it.
    uint8_t* const* plane = target.plane;
    const int32_t* stride = target.stride;
    const uint8_t* uStart = mapping + m_height * pitch;
    const uint8_t* vStart = uStart + m_width / 2;
    libyuv::CopyPlane(mapping, pitch, plane[0], stride[0], width, height);
    if (target.fourcc == kTagNV12) {
      libyuv::MergeUVPlane(uStart, pitch, vStart, pitch, plane[1], stride[1], width / 2,
                           height / 2);
    } else {
      libyuv::CopyPlane(uStart, pitch, plane[1], stride[1], width / 2, height / 2);
      libyuv::CopyPlane(vStart, pitch, plane[2], stride[2], width / 2, height / 2);
    }
  }
  m_context->Unmap(m_readbackTexture, 0);
  return true;
}
