#pragma once
// Hosts such as ffmpeg report only on their standard streams; this gives a child both of them in
// a file that the test reads afterwards.
#include <string>

#include "tests/support/child_process.h"

namespace zarn::test {

// Starts the program at `path` with its standard output and error written to `outputPath`.
ChildProcess startWithOutputFile(const std::wstring& path, const std::wstring& arguments,
                                 const std::wstring& outputPath);

}  // namespace zarn::test
