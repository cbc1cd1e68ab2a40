#pragma once
// The camera's private interfaces, for companion tools in the host's own process.
#include <windows.h>
#include <unknwn.h>

#include <cstdint>
#include <utility>
#include <vector>

inline constexpr GUID IID_IShareSampleInterface = {
    0xF614FB00, 0x6702, 0x11D4, {0xB0, 0xB7, 0x00, 0x50, 0xBA, 0xBF, 0xC9, 0x04}};
inline constexpr GUID IID_ICheckZarnCam = {
    0xF6EFFFFF, 0x30FF, 0x11FF, {0xA1, 0xFF, 0x00, 0xA0, 0xC9, 0x11, 0xFF, 0xFF}};
inline constexpr GUID IID_ICheckZarnCamUsingVideoEnhancements = {
    0xFA34221E, 0xC68D, 0x41AB, {0x93, 0x99, 0xAA, 0x10, 0xCB, 0xCB, 0x4F, 0xFE}};
inline constexpr GUID IID_IZarnCamFrameRateControler = {
    0x1B704BC2, 0x2024, 0x4403, {0xA1, 0x82, 0xCA, 0x08, 0x9B, 0x71, 0xD5, 0xAF}};
inline constexpr GUID IID_ISetOutputWidthHeight = {
    0xF6EFFFFF, 0x2024, 0x41AB, {0xA1, 0xFF, 0xCA, 0x08, 0x9B, 0x71, 0xD5, 0xAF}};
inline constexpr GUID IID_IZarnVCameraEx = {
    0xFA84DB55, 0x0AAC, 0x44FD, {0x9A, 0x51, 0x62, 0x86, 0xE9, 0x12, 0x18, 0x04}};

struct IShareSampleInterface : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE ShareSample() = 0;
};

struct ICheckZarnCam : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CheckZarnCam(unsigned char* answer) = 0;
};

struct ICheckZarnCamUsingVideoEnhancements : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CheckZarnCamUsingVideoEnhancements(unsigned char* answer) = 0;
};

struct IZarnCamFrameRateControler : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE SetFrameRate(uint32_t mode) = 0;
};

// (width, height) pairs; the second pair limits the delivered size.
using OutputSizeList = std::vector<std::pair<int32_t, int32_t>>;

struct ISetOutputWidthHeight : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE SetOutputWidthHeight(const OutputSizeList* sizes) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetOutputWidthHeight(int* width, int* height) = 0;
};

// The client's object on the direct path. Not a COM object: only its first slot is called.
struct IZarnCameraOutput {
  virtual HRESULT STDMETHODCALLTYPE OnCameraTexture(LUID adapterLuid, uint32_t textureId,
                                                    int64_t time) = 0;
};

struct IZarnVCameraEx : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE SetZarnCameraOutput(IZarnCameraOutput* output) = 0;
};
