#pragma once
// The processes that write the frame region in the soak scenarios: the reference mixer and the
// hostile writer, both built beside the tests.
#include <string>

#include "tests/support/child_process.h"

namespace zarn::test {

// Starts `exeName` with `arguments` and waits, with a bound, until the frame region exists, so
// that a host that opens next finds it. An invalid process when it didn't start or made none.
// Its output goes to a file of its own, which frameWriterOutput reads.
ChildProcess startFrameWriter(const std::wstring& exeName, const std::wstring& arguments);

// What the last writer started as `exeName` printed.
std::string frameWriterOutput(const std::wstring& exeName);

}  // namespace zarn::test
