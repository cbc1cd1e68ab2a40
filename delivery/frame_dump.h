#pragma once
// The frame dump that the mixer can ask for: a 32-bit BMP of a texture frame in the user's
// temporary folder, named after the frame's time and age.
#include <cstddef>
#include <cstdint>
#include <string>

// "<temp>\zarncam pro\videoframe\zarnvirtualcam\", each level made if missing.
std::wstring frameDumpFolder();

// "<folder><timestampMs>_<ageMs>.bmp".
std::wstring frameDumpPath(const std::wstring& folder, int64_t timestampMs, int64_t ageMs);

// A 54-byte header and width * height * 4 bytes of pixels, of which only the first `available`
// come from `pixels` and the rest are zero, so a smaller image is never read past its end.
// False if the file can't be opened.
bool writeFrameDump(const std::wstring& path, const uint8_t* pixels, size_t available,
                    int32_t width, int32_t height);
