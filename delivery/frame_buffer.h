#pragma once
// The one image record of the frame paths. Its storage only grows, so a steady stream of
// frames of sizes already seen allocates nothing.
#include <cstdint>
#include <map>

class FrameBuffer {
 public:
  FrameBuffer() = default;
  // An image over foreign memory, which this object never frees or reallocates in place.
  FrameBuffer(uint8_t* foreign, int32_t width, int32_t height, uint32_t fourcc);
  ~FrameBuffer();
  FrameBuffer(const FrameBuffer&) = delete;
  FrameBuffer& operator=(const FrameBuffer&) = delete;

  // Describes foreign memory from now on; storage of its own is freed first.
  void wrap(uint8_t* foreign, int32_t newWidth, int32_t newHeight, uint32_t newFourcc);

  // Makes the storage `bytes` long, 16-byte aligned, keeping its contents. Foreign storage
  // is left to its owner and `usedLength` bytes of it are carried over. On failure the
  // storage is empty.
  void reserve(uint32_t bytes);

  // Sets size and tag (0 keeps the present tag) and lays out the planes, growing the
  // storage when it is too small and never shrinking it.
  void resize(int32_t newWidth, int32_t newHeight, uint32_t newFourcc);

  uint32_t headerWord = 0;
  bool external = false;
  uint8_t* data = nullptr;
  uint32_t capacity = 0;
  uint32_t usedLength = 0;
  uint8_t* plane[3] = {};
  int32_t stride[3] = {};
  int32_t width = 0;
  int32_t height = 0;
  uint32_t fourcc = 0;
  uint32_t valid = 0;
  std::map<uint32_t, uint32_t> sideTable;
};
