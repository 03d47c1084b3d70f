// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/column_pattern.h"

#include <gtest/gtest.h>

namespace perflib {
namespace {

TEST(ColumnPatternTest, MatchesTheWholeName) {
  struct Case {
    const char* pattern;
    const char* name;
    bool match;
  };
  const Case cases[] = {
      {"daq.received", "daq.received", true},
      {"daq.received", "daq.receive", false},
      {"daq.receive", "daq.received", false},
      {"daq.*", "daq.received", true},
      {"daq.*", "daq.", true},
      {"daq.*", "daq", false},
      {"*", "", true},
      {"", "", true},
      {"", "a", false},
      {"**", "a", true},
      {"thread_*.cpu_user", "thread_12.cpu_user", true},
      {"thread_*.cpu_user", "thread_1.cpu_system", false},
      {"*.cpu_*", "thread_0.cpu_wall", true},
      {"*a*b", "xaxbxb", true},
      {"*a*b", "xaxbxa", false},
      {"a*a", "a", false},
      {"stats.usr[0]", "stats.usr[0]", true},
      {"stats.usr[?]", "stats.usr[0]", false},
      {"stats.usr[*]", "stats.usr[13]", true},
      {"Daq.*", "daq.received", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(column_pattern_match(c.pattern, c.name), c.match) << c.pattern << " ~ " << c.name;
  }
}

TEST(ColumnPatternTest, SplitsAListOnCommas) {
  using List = std::vector<std::string>;
  EXPECT_EQ(split_column_patterns("daq.*,thread_*.cpu_user"), (List{"daq.*", "thread_*.cpu_user"}));
  EXPECT_EQ(split_column_patterns(",a,,b ,"), (List{"a", "b "}));
  EXPECT_EQ(split_column_patterns(""), List{});
}

}  // namespace
}  // namespace perflib
