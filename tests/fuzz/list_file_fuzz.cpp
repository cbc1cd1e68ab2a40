// Any bytes as a host list file: the rows must keep the shape the matching relies on.
#include <cstdlib>
#include <string>

#include "host/host_list_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string file(reinterpret_cast<const char*>(data), size);
  for (const std::string& row : hostListRows(file, "obs.exe,obs64.exe")) {
    const bool shaped = !row.empty() && row.front() != ' ' && row.back() != ' ' &&
                        row.find(',') == std::string::npos &&
                        row.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos;
    if (!shaped) abort();
  }
  return 0;
}
