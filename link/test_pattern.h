#pragma once
// The reference mixer's picture, laid out so that a reader can check every pixel of it.
//
// Pixels are 4 bytes, blue, green, red, alpha (alpha always 255), rows without padding, row 0
// first in memory. Row order is kept as the memory holds it: a bottom-up consumer shows row 0 at
// the bottom.
//
// Stamp strip: rows [0, stripHeight) with stripHeight = max(1, height / 8). The width is cut into
// 64 cells, cell i spanning columns [i * width / 64, (i + 1) * width / 64). The 64-bit stamp is
// (frame counter << 32) | (timestamp in milliseconds, low 32 bits); cell i carries bit 63 - i,
// white (255, 255, 255) for 1 and black (0, 0, 0) for 0. A stamp needs a width of at least 64.
//
// Body: the remaining rows, in quadrants split at column width / 2 and row height / 2:
// red above left, green above right, blue below left, yellow below right. Mirroring swaps red and
// green, turning upside down swaps red and blue. A grey (128, 128, 128) bar of barWidth =
// max(1, width / 32) columns runs through the body from column (counter * barWidth) % width,
// clipped at the right edge, so that consecutive frames differ.
#include <cstdint>

struct TestPatternColour {
  uint8_t blue;
  uint8_t green;
  uint8_t red;
};

constexpr TestPatternColour kPatternTopLeft = {0, 0, 255};
constexpr TestPatternColour kPatternTopRight = {0, 255, 0};
constexpr TestPatternColour kPatternBottomLeft = {255, 0, 0};
constexpr TestPatternColour kPatternBottomRight = {0, 255, 255};
constexpr TestPatternColour kPatternBar = {128, 128, 128};
constexpr int kPatternStampCells = 64;

struct TestPatternStamp {
  uint32_t counter;
  uint32_t timestampMs;
};

// Draws the frame into `pixels` (width * height * 4 bytes).
void renderTestPattern(uint8_t* pixels, int width, int height, TestPatternStamp stamp);

// Reads the stamp from the middle row of the strip, each cell at its centre column, a cell whose
// green is at least 128 counting as 1. False when the frame is narrower than 64 pixels.
bool readTestPatternStamp(const uint8_t* pixels, int width, int height, TestPatternStamp& stamp);
