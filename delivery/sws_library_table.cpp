#include "delivery/sws_library_table.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace {

HMODULE loadBeside(const std::wstring& folder, const wchar_t* name) {
  return LoadLibraryExW((folder + name).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

template <typename Function>
Function entryPoint(HMODULE library, const char* name) {
  if (!library) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace

std::wstring folderOfPath(const std::wstring& path) {
  const size_t separator = path.find_last_of(L"\\/:");
  if (separator == std::wstring::npos) return std::wstring();
  return path.substr(0, separator + 1);
}

// The names keep their own backslash after the folder's; Windows reads the doubled
// separator as one.
SwscaleLibraryTable::SwscaleLibraryTable(const std::wstring& folder)
    : m_avcodec(loadBeside(folder, L"\\avcodec-sc.x86-58.dll")),
      m_avutil(loadBeside(folder, L"\\avutil-sc.x86-56.dll")),
      m_swscale(loadBeside(folder, L"\\swscale-sc.x86-5.dll")) {
  avcodecAllocFrame = entryPoint<AllocFrameFn>(m_avcodec, "avcodec_alloc_frame");
  avpictureFill = entryPoint<FARPROC>(m_avcodec, "avpicture_fill");
  avFree = entryPoint<FreeFn>(m_avutil, "av_free");
  swsGetContext = entryPoint<FARPROC>(m_swscale, "sws_getContext");
  swsScale = entryPoint<FARPROC>(m_swscale, "sws_scale");
  swsFreeContext = entryPoint<FARPROC>(m_swscale, "sws_freeContext");
}

SwscaleLibraryTable::~SwscaleLibraryTable() {
  if (m_swscale) FreeLibrary(m_swscale);
  if (m_avcodec) FreeLibrary(m_avcodec);
  if (m_avutil) FreeLibrary(m_avutil);
}

SwscaleLibraryTable& SwscaleLibraryTable::instance() {
  static SwscaleLibraryTable table([] {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(reinterpret_cast<HMODULE>(&__ImageBase), path, MAX_PATH);
    return folderOfPath(path);
  }());
  return table;
}
