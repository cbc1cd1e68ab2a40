#include "host/host_list_text.h"

#include <gtest/gtest.h>

namespace {

using Rows = std::vector<std::string>;

TEST(HostListText, RowsAreTrimmedOfBlanksOnlyLowerCasedAndNeverEmpty) {
  const struct { std::string text; Rows rows; } cases[] = {
      {"  OBS64.EXE ,,", {"obs64.exe"}},
      {"a.exe,B.exe", {"a.exe", "b.exe"}},
      // A line break belongs to the row: the file is meant to hold one line.
      {"a.exe\nb.exe", {"a.exe\nb.exe"}},
      {"\ta.exe", {"\ta.exe"}},
      // A byte order mark is dropped; only an empty file keeps the defaults.
      {"", {"d.exe"}},
      {"\xEF\xBB\xBF", {"d.exe"}},
      {"\xEF\xBB\xBF" "b.exe", {"b.exe"}},
  };
  for (const auto& c : cases) EXPECT_EQ(hostListRows(c.text, "d.exe"), c.rows) << c.text;
}

}  // namespace
