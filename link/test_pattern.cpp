#include "link/test_pattern.h"

#include <algorithm>

namespace {

int stripHeight(int height) { return std::max(1, height / 8); }

int cellStart(int cell, int width) { return int(int64_t(cell) * width / kPatternStampCells); }

uint64_t stampWord(TestPatternStamp stamp) {
  return (uint64_t(stamp.counter) << 32) | stamp.timestampMs;
}

void put(uint8_t* pixel, TestPatternColour colour) {
  pixel[0] = colour.blue;
  pixel[1] = colour.green;
  pixel[2] = colour.red;
  pixel[3] = 255;
}

}  // namespace

void renderTestPattern(uint8_t* pixels, int width, int height, TestPatternStamp stamp) {
  const int strip = std::min(stripHeight(height), height);
  const uint64_t word = stampWord(stamp);
  for (int y = 0; y < strip; ++y) {
    uint8_t* row = pixels + int64_t(y) * width * 4;
    for (int cell = 0; cell < kPatternStampCells; ++cell) {
      const bool bit = (word >> (kPatternStampCells - 1 - cell)) & 1;
      const uint8_t level = bit ? 255 : 0;
      const TestPatternColour colour = {level, level, level};
      for (int x = cellStart(cell, width); x < cellStart(cell + 1, width); ++x) put(row + x * 4, colour);
    }
  }

  const int barWidth = std::max(1, width / 32);
  const int barStart = int(uint64_t(stamp.counter) * barWidth % uint64_t(std::max(1, width)));
  const int barEnd = std::min(width, barStart + barWidth);
  for (int y = strip; y < height; ++y) {
    uint8_t* row = pixels + int64_t(y) * width * 4;
    const bool top = y < height / 2;
    for (int x = 0; x < width; ++x) {
      const bool left = x < width / 2;
      TestPatternColour colour = top ? (left ? kPatternTopLeft : kPatternTopRight)
                                     : (left ? kPatternBottomLeft : kPatternBottomRight);
      if (x >= barStart && x < barEnd) colour = kPatternBar;
      put(row + x * 4, colour);
    }
  }
}

bool readTestPatternStamp(const uint8_t* pixels, int width, int height, TestPatternStamp& stamp) {
  if (width < kPatternStampCells || height < 1) return false;
  const uint8_t* row = pixels + int64_t(stripHeight(height) / 2) * width * 4;
  uint64_t word = 0;
  for (int cell = 0; cell < kPatternStampCells; ++cell) {
    const int centre = (cellStart(cell, width) + cellStart(cell + 1, width)) / 2;
    word = (word << 1) | (row[centre * 4 + 1] >= 128 ? 1 : 0);
  }
  stamp.counter = uint32_t(word >> 32);
  stamp.timestampMs = uint32_t(word);
  return true;
}
