#include "host/host_list_text.h"

#include <gtest/gtest.h>

namespace {

using Rows = std::vector<std::string>;

TEST(HostListText, ParsingTrimsBlanksOnlyLowerCasesAndSkipsEmptyRows) {
  const struct {
    std::string text;
    Rows rows;
  } cases[] = {
      {"  OBS64.EXE ,,", {"obs64.exe"}},
      {"a.exe,B.exe", {"a.exe", "b.exe"}},
      // A line break belongs to the row: the file is meant to hold one line.
      {"a.exe\nb.exe", {"a.exe\nb.exe"}},
      {"\ta.exe", {"\ta.exe"}},
      {"", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parseHostList(c.text), c.rows);
  }
}

// A byte order mark is dropped; only an empty file keeps the defaults.
TEST(HostListText, FileBytesReplaceTheDefaultsUnlessEmpty) {
  EXPECT_EQ(hostListRows("", "a.exe"), Rows{"a.exe"});
  EXPECT_EQ(hostListRows("\xEF\xBB\xBF", "a.exe"), Rows{"a.exe"});
  EXPECT_EQ(hostListRows("\xEF\xBB\xBF" "b.exe", "a.exe"), Rows{"b.exe"});
}

}  // namespace
