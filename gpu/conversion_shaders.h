#pragma once
// HLSL texts of the colour conversions run on the mixer's texture. Each text holds both stages,
// "vs_main" and "ps_main", reads the texture from t0 with the sampler in s0, and draws a quad.
#include <cstdint>
#include <string>

// The conversion into `toFormat` ("RGBA", "RGB3", "I420" or "NV12"); empty for any other tag.
// "RGBA" and "RGB3" write blue first; "I420" and "NV12" share one planar text that writes
// Y above and U beside V below it, into a single-channel target 3/2 the frame's height.
std::string conversionShaderSource(uint32_t toFormat, bool is709, bool isFullRange);
