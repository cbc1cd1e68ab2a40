#include "gpu/adapter_choice.h"

#include <gtest/gtest.h>

#include <cwchar>

namespace {

DXGI_ADAPTER_DESC adapter(const wchar_t* description, UINT vendorId = 0, UINT deviceId = 0) {
  DXGI_ADAPTER_DESC desc = {};
  std::wcsncpy(desc.Description, description, ARRAYSIZE(desc.Description) - 1);
  desc.VendorId = vendorId;
  desc.DeviceId = deviceId;
  return desc;
}

}  // namespace

TEST(AdapterChoice, NvidiaBeforeAmdBeforeTheRestLowestIndexFirst) {
  const DXGI_ADAPTER_DESC intel = adapter(L"Intel(R) UHD Graphics 630");
  const DXGI_ADAPTER_DESC nvidia = adapter(L"NVIDIA GeForce RTX 3060");
  const DXGI_ADAPTER_DESC amd = adapter(L"AMD Radeon RX 6600");
  struct Case { const char* name; std::vector<DXGI_ADAPTER_DESC> adapters; uint32_t best; };
  const Case cases[] = {
      {"Intel then NVIDIA", {intel, nvidia}, 1},
      {"AMD, Intel, NVIDIA", {amd, intel, nvidia}, 2},
      {"neither, then AMD", {intel, amd}, 1},
      {"two of each maker", {intel, amd, nvidia, amd, nvidia}, 2},
      {"the basic render driver never counts, whatever its name",
       {intel, adapter(L"NVIDIA Basic Render Driver", 0x1414, 0x8C), amd}, 2},
      {"names in small letters", {intel, adapter(L"nvidia geforce"), adapter(L"amd radeon")}, 0},
  };
  for (const Case& c : cases) EXPECT_EQ(chooseAdapterByName(c.adapters), c.best) << c.name;
}
