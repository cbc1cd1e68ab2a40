#pragma once
// The stream's converter over FFmpeg's libraries. No frame passes through it; it holds two
// frames of its own when the libraries are present and nothing when they are absent.
class SwscaleLibraryTable;

class SwsConverter {
 public:
  // Over the process-wide table of libraries.
  SwsConverter();
  ~SwsConverter();
  SwsConverter(const SwsConverter&) = delete;
  SwsConverter& operator=(const SwsConverter&) = delete;

 private:
  const SwscaleLibraryTable& m_libraries;
  void* m_pSourceFrame = nullptr;
  void* m_pTargetFrame = nullptr;
};
