#pragma once

#include <windows.h>
#include <strmif.h>

// Registration records of a filter and its pins, in the platform's own layout.
typedef REGPINTYPES AMOVIESETUP_MEDIATYPE;
typedef REGFILTERPINS AMOVIESETUP_PIN;

struct AMOVIESETUP_FILTER {
  const CLSID* clsID;
  const WCHAR* strName;
  DWORD dwMerit;
  UINT nPins;
  const AMOVIESETUP_PIN* lpPin;
};
