#pragma once
// Fitting one 32-bit image into another of any size.
#include <cstdint>

class FrameBuffer;

// How aspect ratios are reconciled. Frames are cropped; the placeholder is stretched.
enum class FrameFitMode : int32_t { CropToFill = 0, Letterbox = 1, Stretch = 2 };

// Scales the 32-bit `source` into the 32-bit `target`, both sized by their own fields.
// `flip` turns the picture upside down. Letterbox margins keep what the target held.
void ScaleImage32(const FrameBuffer& source, FrameBuffer& target, FrameFitMode fitMode,
                  bool flip);
