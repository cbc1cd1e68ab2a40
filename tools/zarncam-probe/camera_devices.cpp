#include "camera_devices.h"

#include <functional>

const wchar_t kCameraName[] = L"ZarnCam Pro";

namespace {

// Calls `visit` with each device's moniker and friendly name until it returns false.
void forEachVideoInputDevice(const std::function<bool(IMoniker*, const std::wstring&)>& visit) {
  ICreateDevEnum* devices = nullptr;
  if (FAILED(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER,
                              IID_ICreateDevEnum, reinterpret_cast<void**>(&devices)))) {
    return;
  }
  IEnumMoniker* monikers = nullptr;
  if (devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, &monikers, 0) == S_OK) {
    IMoniker* moniker = nullptr;
    bool goOn = true;
    while (goOn && monikers->Next(1, &moniker, nullptr) == S_OK) {
      IPropertyBag* properties = nullptr;
      std::wstring name;
      if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag,
                                           reinterpret_cast<void**>(&properties)))) {
        VARIANT value;
        VariantInit(&value);
        if (SUCCEEDED(properties->Read(L"FriendlyName", &value, nullptr))) name = value.bstrVal;
        VariantClear(&value);
        properties->Release();
      }
      goOn = visit(moniker, name);
      moniker->Release();
    }
    monikers->Release();
  }
  devices->Release();
}

}  // namespace

std::vector<std::wstring> videoInputDeviceNames() {
  std::vector<std::wstring> names;
  forEachVideoInputDevice([&](IMoniker*, const std::wstring& name) {
    names.push_back(name);
    return true;
  });
  return names;
}

IMoniker* videoInputDeviceMoniker(const std::wstring& friendlyName) {
  IMoniker* found = nullptr;
  forEachVideoInputDevice([&](IMoniker* moniker, const std::wstring& name) {
    if (name != friendlyName) return true;
    found = moniker;
    found->AddRef();
    return false;
  });
  return found;
}

IBaseFilter* openVideoInputDevice(IMoniker* device) {
  IBaseFilter* filter = nullptr;
  device->BindToObject(nullptr, nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter));
  return filter;
}

IBaseFilter* openVideoInputDevice(const std::wstring& friendlyName) {
  IMoniker* device = videoInputDeviceMoniker(friendlyName);
  if (!device) return nullptr;
  IBaseFilter* filter = openVideoInputDevice(device);
  device->Release();
  return filter;
}

IPin* firstPin(IBaseFilter* filter, PIN_DIRECTION direction) {
  IEnumPins* pins = nullptr;
  if (FAILED(filter->EnumPins(&pins))) return nullptr;
  IPin* pin = nullptr;
  while (pins->Next(1, &pin, nullptr) == S_OK) {
    PIN_DIRECTION found;
    if (SUCCEEDED(pin->QueryDirection(&found)) && found == direction) break;
    pin->Release();
    pin = nullptr;
  }
  pins->Release();
  return pin;
}
