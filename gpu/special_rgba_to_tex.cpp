#include "gpu/special_rgba_to_tex.h"

#include <dxgi.h>

#include <algorithm>
#include <cstring>

#include "diag/log.h"
#include "gpu/d3d_device.h"
#include "gpu/special_common.h"
#include "host/platform.h"

namespace {

// A failed upload makes the next ones wait, doubling from the first delay to the last: without
// a texture every sample would fail and log again.
const uint32_t kFirstRetryDelayMs = 1000;
const uint32_t kLastRetryDelayMs = 60000;

}  // namespace

SpecialRGBAToTex::SpecialRGBAToTex() {
  LogPrint(1, "SpecialRGBAToTex");
  SpecialCommon::instance().addUser();
}

SpecialRGBAToTex::~SpecialRGBAToTex() {
  LogPrint(1, "~SpecialRGBAToTex");
  releseTex();
  // After the textures that live on the device.
  SpecialCommon::instance().removeUser();
}

void SpecialRGBAToTex::releseTex() {
  releaseAndNull(m_uploadTexture);
  releaseAndNull(m_sharedTexture);
  LogPrint(1, "SpecialRGBAToTex releseTex");
}

bool SpecialRGBAToTex::memoryUploadTex(uint32_t adapterIndex, const uint8_t* data, uint32_t width,
                                       uint32_t height, uint32_t stride) {
  const uint32_t now = platform().milliseconds();
  if (m_retryDelayMs != 0 && now - m_failedAt < m_retryDelayMs) return false;
  SpecialCommon& common = SpecialCommon::instance();
  std::lock_guard<std::mutex> lock(common.deviceLock());
  // A device lost in a driver reset is made again; one that works on this adapter is kept, where
  // once every upload to an adapter other than 0 made a device of its own.
  if (!common.deviceServes(adapterIndex)) common.initDevice(adapterIndex);
  if (width == 0 || height == 0) {
    LogPrint(1, "SpecialRGBAToTex memoryUploadTex width == 0 || height == 0");
    return false;
  }
  // Textures that could not be made are tried again once the wait allows.
  if (width != m_width || height != m_height || !m_uploadTexture || !m_sharedTexture ||
      m_deviceGeneration != common.deviceGeneration()) {
    m_width = width;
    m_height = height;
    m_deviceGeneration = common.deviceGeneration();
    releseTex();
    createSharedTex();
  }

  ID3D11DeviceContext* context = common.context();
  D3D11_MAPPED_SUBRESOURCE mapped = {};
  HRESULT hr = E_POINTER;
  if (context && m_uploadTexture && m_sharedTexture) {
    hr = context->Map(m_uploadTexture, 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped);
  }
  if (FAILED(hr)) {
    LogPrint(1, "SpecialRGBAToTex Map error hr = %d", static_cast<int>(hr));
    m_failedAt = now;
    m_retryDelayMs = m_retryDelayMs == 0 ? kFirstRetryDelayMs
                                         : std::min(2 * m_retryDelayMs, kLastRetryDelayMs);
    return false;
  }
  m_retryDelayMs = 0;
  auto* target = static_cast<uint8_t*>(mapped.pData);
  if (mapped.RowPitch == stride) {
    std::memcpy(target, data, size_t{height} * stride);
  } else {
    // Drivers may align rows: each row goes to its own start, and the padding is not written.
    for (uint32_t row = 0; row < height; ++row) {
      memcpy_s(target, mapped.RowPitch, data, stride);
      target += mapped.RowPitch;
      data += stride;
    }
  }
  context->Unmap(m_uploadTexture, 0);
  context->CopyResource(m_sharedTexture, m_uploadTexture);
  // The client reads the texture on a device of its own: the copy has to reach the GPU now, not
  // at this context's next flush.
  context->Flush();
  return true;
}

void SpecialRGBAToTex::createSharedTex() {
  SpecialCommon& common = SpecialCommon::instance();
  m_uploadTexture = common.createTexture2D(m_width, m_height, m_format, D3D11_USAGE_DYNAMIC, 0,
                                           D3D11_BIND_SHADER_RESOURCE, D3D11_CPU_ACCESS_WRITE);
  m_sharedTexture = common.createTexture2D(
      m_width, m_height, m_format, D3D11_USAGE_DEFAULT, D3D11_RESOURCE_MISC_SHARED,
      D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET, 0);

  HRESULT hr = E_POINTER;
  HANDLE handle = nullptr;
  if (m_sharedTexture) {
    m_sharedTexture->SetEvictionPriority(DXGI_RESOURCE_PRIORITY_MAXIMUM);
    IDXGIResource* resource = nullptr;
    hr = m_sharedTexture->QueryInterface(__uuidof(IDXGIResource),
                                         reinterpret_cast<void**>(&resource));
    if (SUCCEEDED(hr)) hr = resource->GetSharedHandle(&handle);
    releaseAndNull(resource);
  }
  if (FAILED(hr)) {
    LogPrint(1, "CVCamStream::SpecialRGBAToTex Failed hr: %d", static_cast<int>(hr));
    return;
  }
  // Shared handles fit in 32 bits; the client gets the low half.
  m_sharedTextureId = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handle));
  LogPrint(1, "CVCamStream::SpecialRGBAToTex m_sharedTextureId: %u", m_sharedTextureId);
}
