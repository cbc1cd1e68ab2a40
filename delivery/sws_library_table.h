#pragma once
// FFmpeg's libraries beside this module, looked up once and kept until it unloads. Every
// slot may be null: nothing in the camera needs them, and their absence is not reported.
#include <windows.h>

#include <string>

class SwscaleLibraryTable {
 public:
  using AllocFrameFn = void* (*)();
  using FreeFn = void (*)(void*);

  // Loads the libraries from `folder`, which ends in its separator.
  explicit SwscaleLibraryTable(const std::wstring& folder);
  ~SwscaleLibraryTable();
  SwscaleLibraryTable(const SwscaleLibraryTable&) = delete;
  SwscaleLibraryTable& operator=(const SwscaleLibraryTable&) = delete;

  // The process-wide table over the folder of this module, made on first use.
  static SwscaleLibraryTable& instance();

  AllocFrameFn avcodecAllocFrame = nullptr;
  FARPROC avpictureFill = nullptr;
  FreeFn avFree = nullptr;
  FARPROC swsGetContext = nullptr;
  FARPROC swsScale = nullptr;
  FARPROC swsFreeContext = nullptr;

 private:
  HMODULE m_avcodec = nullptr;
  HMODULE m_avutil = nullptr;
  HMODULE m_swscale = nullptr;
};

// The folder part of a module path, its last separator kept. A path that ends in a
// backslash or a colon is a folder already.
std::wstring folderOfPath(const std::wstring& path);
