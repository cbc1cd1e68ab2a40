#pragma once
// Registration of the module's class table with COM and the filter mapper. The module's
// DllRegisterServer and DllUnregisterServer are defined beside it and add the camera's entry in
// the video input device category.
#include <windows.h>

// Writes (or, when unregistering, removes) each row's class key, and registers each row that has
// setup data in the general filter category. The first failure is the result; unregistering what
// isn't there is not a failure.
HRESULT registerClassTable(BOOL bRegister);
