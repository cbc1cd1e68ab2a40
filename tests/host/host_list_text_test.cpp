#include "host/host_list_text.h"

#include <gtest/gtest.h>

namespace {

using Rows = std::vector<std::string>;

TEST(HostListText, ParsingTrimsBlanksOnlyLowerCasesAndSkipsEmptyRows) {
  struct Case {
    std::string text;
    Rows rows;
  };
  const Case cases[] = {
      {"  OBS64.EXE ,,", {"obs64.exe"}},
      {"a.exe,B.exe", {"a.exe", "b.exe"}},
      // A line break belongs to the row: the file is meant to hold one line.
      {"a.exe\nb.exe", {"a.exe\nb.exe"}},
      {"\ta.exe", {"\ta.exe"}},
      {"", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parseHostList(c.text), c.rows);
  }
}

}  // namespace
