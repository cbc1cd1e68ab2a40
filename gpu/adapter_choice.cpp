#include "gpu/adapter_choice.h"

#include <cstdio>
#include <cwchar>

#include "diag/log.h"
#include "gpu/d3d_device.h"

namespace {

// The descriptions of all adapters, in DXGI's numbering.
std::vector<DXGI_ADAPTER_DESC> describeAdapters(IDXGIFactory1* factory) {
  std::vector<DXGI_ADAPTER_DESC> adapters;
  IDXGIAdapter1* adapter = nullptr;
  for (UINT index = 0; factory->EnumAdapters1(index, &adapter) == S_OK; ++index) {
    DXGI_ADAPTER_DESC desc = {};
    // A failed read keeps the adapter's place but can never match a name.
    if (FAILED(adapter->GetDesc(&desc))) desc = {};
    adapters.push_back(desc);
    releaseAndNull(adapter);
  }
  return adapters;
}

}  // namespace

uint32_t chooseAdapterByName(const std::vector<DXGI_ADAPTER_DESC>& adapters) {
  const uint32_t none = UINT32_MAX;
  uint32_t nvidia = none;
  uint32_t amd = none;
  for (uint32_t index = 0; index < adapters.size(); ++index) {
    const DXGI_ADAPTER_DESC& desc = adapters[index];
    if (isBasicRenderDriver(desc)) continue;
    if (nvidia == none && std::wcsstr(desc.Description, L"NVIDIA")) {
      nvidia = index;
      continue;
    }
    if (amd == none && std::wcsstr(desc.Description, L"AMD")) amd = index;
  }
  if (nvidia != none) return nvidia;
  if (amd != none) return amd;
  return 0;
}

uint32_t findBestAdapterIndex() {
  IDXGIFactory1* factory = createDxgiFactory(__uuidof(IDXGIFactory1));
  if (!factory) return 0;
  uint32_t best = chooseAdapterByName(describeAdapters(factory));
  releaseAndNull(factory);
  return best;
}

LUID findBestAdapterLUid(uint32_t index) {
  if (static_cast<int32_t>(index) < 0) index = findBestAdapterIndex();
  LUID luid = {};
  IDXGIFactory1* factory = createDxgiFactory(__uuidof(IDXGIFactory1));
  if (!factory) return luid;
  IDXGIAdapter1* adapter = nullptr;
  if (SUCCEEDED(factory->EnumAdapters1(index, &adapter)) && adapter) {
    DXGI_ADAPTER_DESC desc = {};
    if (SUCCEEDED(adapter->GetDesc(&desc))) {
      luid = desc.AdapterLuid;
    } else {
      LogPrint(1, "GetDesc Failed");
    }
  }
  char line[128];
  std::snprintf(line, sizeof(line),
                "CVCamStream findBestAdapterLUid bestAdapterIndex = %d, firstAdapterLUid h=%d l=%d",
                static_cast<int>(index), static_cast<int>(luid.HighPart),
                static_cast<int>(luid.LowPart));
  LogPrint(1, "%s", line);
  releaseAndNull(adapter);
  releaseAndNull(factory);
  return luid;
}
