#include "filter/registration.h"

#include <dshow.h>
#include <olectl.h>
#include <uuids.h>

#include "filter/registry_keys.h"
#include "media/class_factory.h"
#include "media/module_entry.h"

namespace {

const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
const WCHAR kInstanceName[] = L"zarncamvcam";
const DWORD kWidePathLength = 520;

HRESULT notFoundIsDone(HRESULT hr) { return hr == kNotFound ? S_OK : hr; }

// The camera is the table's one row.
const AMOVIESETUP_FILTER& cameraSetup() { return *g_Templates[0].m_pAMovieSetup_Filter; }

REGFILTER2 filterRecord(const AMOVIESETUP_FILTER& setup) {
  REGFILTER2 rf2 = {};
  rf2.dwVersion = 1;
  rf2.dwMerit = setup.dwMerit;
  rf2.cPins = setup.nPins;
  rf2.rgPins = setup.lpPin;
  return rf2;
}

HRESULT setUpFilter(IFilterMapper2* mapper, const AMOVIESETUP_FILTER& setup, BOOL bRegister) {
  HRESULT hr = mapper->UnregisterFilter(nullptr, nullptr, *setup.clsID);
  if (bRegister) {
    REGFILTER2 rf2 = filterRecord(setup);
    hr = mapper->RegisterFilter(*setup.clsID, setup.strName, nullptr, nullptr, nullptr, &rf2);
  }
  return notFoundIsDone(hr);
}

HRESULT setUpFilter(IFilterMapper* mapper, const AMOVIESETUP_FILTER& setup, BOOL bRegister) {
  HRESULT hr = mapper->UnregisterFilter(*setup.clsID);
  if (bRegister) {
    hr = mapper->RegisterFilter(*setup.clsID, setup.strName, setup.dwMerit);
    for (UINT p = 0; SUCCEEDED(hr) && p < setup.nPins; p++) {
      const AMOVIESETUP_PIN& pin = setup.lpPin[p];
      hr = mapper->RegisterPin(*setup.clsID, pin.strName, pin.bRendered, pin.bOutput, pin.bZero,
                               pin.bMany,
                               pin.clsConnectsToFilter ? *pin.clsConnectsToFilter : CLSID_NULL,
                               pin.strConnectsToPin);
      for (UINT t = 0; SUCCEEDED(hr) && t < pin.nMediaTypes; t++) {
        hr = mapper->RegisterPinType(*setup.clsID, pin.strName, *pin.lpMediaType[t].clsMajorType,
                                     *pin.lpMediaType[t].clsMinorType);
      }
    }
  }
  return notFoundIsDone(hr);
}

HRESULT setUpFilters(BOOL bRegister) {
  IFilterMapper2* mapper2 = nullptr;
  IFilterMapper* mapper = nullptr;
  HRESULT hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IFilterMapper2, reinterpret_cast<void**>(&mapper2));
  if (FAILED(hr)) {
    hr = CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper,
                          reinterpret_cast<void**>(&mapper));
  }
  for (int i = 0; SUCCEEDED(hr) && i < g_cTemplates; i++) {
    const AMOVIESETUP_FILTER* setup = g_Templates[i].m_pAMovieSetup_Filter;
    if (setup) {
      hr = mapper2 ? setUpFilter(mapper2, *setup, bRegister) : setUpFilter(mapper, *setup, bRegister);
    }
  }
  if (mapper2) {
    mapper2->Release();
  }
  if (mapper) {
    mapper->Release();
  }
  return hr;
}

}  // namespace

HRESULT registerClassTable(BOOL bRegister) {
  char narrowPath[MAX_PATH];
  if (!GetModuleFileNameA(g_hInst, narrowPath, MAX_PATH)) {
    return HRESULT_FROM_WIN32(GetLastError());
  }
  WCHAR path[MAX_PATH];
  MultiByteToWideChar(CP_ACP, 0, narrowPath, -1, path, MAX_PATH);
  if (bRegister) {
    for (int i = 0; i < g_cTemplates; i++) {
      HRESULT hr = writeClassKey(*g_Templates[i].m_ClsID, g_Templates[i].m_Name, path);
      if (FAILED(hr)) {
        return hr;
      }
    }
  }
  HRESULT hrCom = CoInitialize(nullptr);
  HRESULT hr = setUpFilters(bRegister);
  CoFreeUnusedLibraries();
  if (SUCCEEDED(hrCom)) {
    CoUninitialize();
  }
  if (!bRegister && SUCCEEDED(hr)) {
    for (int i = 0; i < g_cTemplates; i++) {
      deleteClassKey(*g_Templates[i].m_ClsID);
    }
  }
  return hr;
}

STDAPI DllUnregisterServer() {
  HRESULT hr = registerClassTable(FALSE);
  if (FAILED(hr)) {
    return hr;
  }
  hr = CoInitialize(nullptr);
  if (FAILED(hr)) {
    CoFreeUnusedLibraries();
    return hr;
  }
  const AMOVIESETUP_FILTER& setup = cameraSetup();
  IFilterMapper2* mapper = nullptr;
  hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                        reinterpret_cast<void**>(&mapper));
  if (SUCCEEDED(hr)) {
    // Whichever instance name a registration used; an absent one is no failure.
    mapper->UnregisterFilter(&CLSID_VideoInputDeviceCategory, nullptr, *setup.clsID);
    mapper->UnregisterFilter(&CLSID_VideoInputDeviceCategory, kInstanceName, *setup.clsID);
    mapper->Release();
    deleteClassKey(*setup.clsID);
  }
  CoFreeUnusedLibraries();
  CoUninitialize();
  return hr;
}

STDAPI DllRegisterServer() {
  // A stale registration goes first, whatever becomes of it.
  DllUnregisterServer();
  HRESULT hr = registerClassTable(TRUE);
  if (FAILED(hr)) {
    return hr;
  }
  WCHAR path[kWidePathLength];
  if (!GetModuleFileNameW(g_hInst, path, kWidePathLength)) {
    return static_cast<HRESULT>(GetLastError() | 0x80070000);
  }
  HRESULT hrCom = CoInitialize(nullptr);
  const AMOVIESETUP_FILTER& setup = cameraSetup();
  // Again from the wide path: the table's keys were written from a narrow one, which garbles a
  // folder name outside the code page.
  hr = writeClassKey(*setup.clsID, setup.strName, path);
  if (SUCCEEDED(hr)) {
    IFilterMapper2* mapper = nullptr;
    hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                          reinterpret_cast<void**>(&mapper));
    if (SUCCEEDED(hr)) {
      IMoniker* moniker = nullptr;
      REGFILTER2 rf2 = filterRecord(setup);
      // The category's moniker is handed back but not kept; it is left to the process.
      hr = mapper->RegisterFilter(*setup.clsID, setup.strName, &moniker,
                                  &CLSID_VideoInputDeviceCategory, kInstanceName, &rf2);
      mapper->Release();
    }
  }
  CoFreeUnusedLibraries();
  if (SUCCEEDED(hrCom)) {
    CoUninitialize();
  }
  return hr;
}
