#pragma once
// The reader's colour conversions on the processor, for the route without shaders: the shaders'
// numbers, written exactly within the target's layout.
#include <cstdint>

class FrameBuffer;

// Fills `target` ("I420" or "NV12", the texels' size) from 32-bit texels, red first unless
// `blueFirst`, in rows of `pitch` bytes, top row first. Each chroma sample stands for a whole
// 2x2 block: (width / 2) by (height / 2) of them, all that the layout holds.
void texelsToPlanar(const uint8_t* texels, int32_t pitch, bool blueFirst, bool is709,
                    bool isFullRange, FrameBuffer& target);

// Narrows the colour bytes of an RGB `target` ("RGBA" or "RGB3") from full range to 16..235.
void limitRgbRange(FrameBuffer& target);
