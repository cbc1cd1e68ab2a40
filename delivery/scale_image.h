#pragma once
// Fitting one 32-bit image into another of any size.
#include <cstdint>

class FrameBuffer;

// How aspect ratios are reconciled. Frames are cropped; the placeholder is letterboxed.
enum class FrameFitMode : int32_t { CropToFill = 0, Letterbox = 1, Stretch = 2 };

// The placeholder is a card with text: it keeps its shape and all of its text at any size.
constexpr FrameFitMode kPlaceholderFit = FrameFitMode::Letterbox;

struct ImageArea {
  int32_t x, y, width, height;
};

// The centred part of a `sw` by `sh` source that has the shape of a `dw` by `dh` target.
ImageArea cropToShape(int32_t sw, int32_t sh, int32_t dw, int32_t dh);

// Scales the 32-bit `source` into the 32-bit `target`, both sized by their own fields.
// `flip` turns the picture upside down. Letterbox margins repeat the picture's edge pixels,
// so that no margin shows what the target held before.
void ScaleImage32(const FrameBuffer& source, FrameBuffer& target, FrameFitMode fitMode,
                  bool flip);
