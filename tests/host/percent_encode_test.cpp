#include "host/percent_encode.h"

#include <gtest/gtest.h>

namespace {

TEST(PercentEncode, KeepsOnlyAsciiLettersDigitsAndDotsAndStopsAtAZeroByte) {
  const struct { std::string bytes, encoded; } cases[] = {
      {"obs64.EXE", "obs64.EXE"},
      {"a-b_c~d", "a%2Db%5Fc%7Ed"},
      {"&\"%/ ", "%26%22%25%2F%20"},
      {"caf\xC3\xA9", "caf%C3%A9"},
      {std::string("ab\0cd", 5), "ab"},
  };
  for (const auto& c : cases) EXPECT_EQ(percentEncode(c.bytes), c.encoded) << c.bytes;
}

}  // namespace
