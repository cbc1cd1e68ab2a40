#pragma once
// Video subtypes that mingw-w64's headers do not name.
#include <windows.h>

// FOURCC "I420" in the standard FOURCC-based subtype GUID.
inline constexpr GUID MEDIASUBTYPE_I420 = {
    0x30323449, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
