#pragma once
// The class key of a COM server under HKEY_CLASSES_ROOT, written and removed.
#include <windows.h>

// Writes CLSID\{clsid} with `name`, its InprocServer32 subkey with `modulePath` and the
// "Both" threading model. The first failure is the result; what was written stays.
HRESULT writeClassKey(REFCLSID clsid, const WCHAR* name, const WCHAR* modulePath);

// Deletes CLSID\{clsid} with everything beneath it; a key that isn't there is S_OK.
HRESULT deleteClassKey(REFCLSID clsid);
