#pragma once
// The camera filter that a host's graph creates: a source with one output pin, which claims the
// camera for the host process on Run and gives the claim back on Stop.
#include <windows.h>

#include "media/source.h"

// {60A485B6-17AA-4D91-8139-60C1A095EEF6}
inline constexpr CLSID CLSID_ZarnVirtualCam = {
    0x60A485B6, 0x17AA, 0x4D91, {0x81, 0x39, 0x60, 0xC1, 0xA0, 0x95, 0xEE, 0xF6}};

class CVCamStream;

class CVCam : public CSource {
 public:
  static CUnknown* WINAPI CreateInstance(IUnknown* outer, HRESULT* result);

  CVCam(IUnknown* outer, HRESULT* result);
  ~CVCam() override;

  // Hands the pin's configuration and private interfaces out on the filter, with the pin's
  // reference counting.
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;

  STDMETHODIMP Run(REFERENCE_TIME start) override;
  STDMETHODIMP Pause() override;
  STDMETHODIMP Stop() override;

  CVCamStream* stream() const;
};
