#include "delivery/frame_dump.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <vector>

namespace {

constexpr uint32_t kHeaderSize = 54;
constexpr uint32_t kInfoHeaderSize = 40;

void putLittleEndian(uint8_t* at, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) at[i] = uint8_t(value >> (8 * i));
}

}  // namespace

std::wstring frameDumpFolder() {
  wchar_t temp[MAX_PATH + 1] = {};
  GetTempPathW(MAX_PATH + 1, temp);
  std::wstring folder = temp;
  for (const wchar_t* level : {L"zarncam pro\\", L"videoframe\\", L"zarnvirtualcam\\"}) {
    folder += level;
    CreateDirectoryW(folder.c_str(), nullptr);
  }
  return folder;
}

std::wstring frameDumpPath(const std::wstring& folder, int64_t timestampMs, int64_t ageMs) {
  wchar_t name[64];
  std::swprintf(name, 64, L"%lld_%lld.bmp", static_cast<long long>(timestampMs),
                static_cast<long long>(ageMs));
  return folder + name;
}

bool writeFrameDump(const std::wstring& path, const uint8_t* pixels, size_t available,
                    int32_t width, int32_t height) {
  FILE* file = _wfopen(path.c_str(), L"wb+");
  if (!file) return false;
  const size_t pixelBytes = size_t(width) * size_t(height) * 4;
  uint8_t header[kHeaderSize] = {'B', 'M'};
  putLittleEndian(header + 2, uint32_t(pixelBytes + kHeaderSize), 4);
  putLittleEndian(header + 10, kHeaderSize, 4);
  putLittleEndian(header + 14, kInfoHeaderSize, 4);
  putLittleEndian(header + 18, uint32_t(width), 4);
  putLittleEndian(header + 22, uint32_t(height), 4);
  putLittleEndian(header + 26, 1, 2);
  putLittleEndian(header + 28, 32, 2);
  std::fwrite(header, 1, sizeof(header), file);
  const size_t fromImage = pixels ? std::min(available, pixelBytes) : 0;
  std::fwrite(pixels, 1, fromImage, file);
  std::vector<uint8_t> zeros(pixelBytes - fromImage);
  std::fwrite(zeros.data(), 1, zeros.size(), file);
  std::fclose(file);
  return true;
}
