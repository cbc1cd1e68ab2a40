#pragma once
// The one process-wide choice of graphics adapter for the filter's own textures: by maker's
// name, NVIDIA before AMD before the rest.
#include <dxgi.h>
#include <windows.h>

#include <cstdint>
#include <vector>

// Index of the adapter to use among `adapters`, listed in DXGI's order. The first NVIDIA
// adapter, else the first AMD one, else 0. Names are matched case-sensitively; the basic render
// driver is never picked by name. An adapter whose description could not be read is all zeros.
uint32_t chooseAdapterByName(const std::vector<DXGI_ADAPTER_DESC>& adapters);

// The choice over the system's adapters; 0 when DXGI is not there.
uint32_t findBestAdapterIndex();

// The LUID of adapter `index`, or of the best adapter when `index` is negative as a signed
// number; all zeros when it can't be read.
LUID findBestAdapterLUid(uint32_t index);
