// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/field_map.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <stdexcept>

namespace perflib {
namespace {

FieldMap sample_map() {
  return FieldMap{
      {"time", "Time", PT_TIME},
      {"usr[*]", "CPU * Usr %", PT_PERCENT},
      {"thread_*.cpu_user", PT_SUM},
      {"*.cpu_user", PT_MAX},  // only for names the pattern above does not match
      {"a*", "A *", PT_SUM},
  };
}

// For each name: the field made (name, label, kind), or "-" when no pattern matches the whole name.
// A dot is a regular-expression dot, which never matches CR or LF.
TEST(FieldMapTest, PatternRules) {
  std::string made;
  for (const char* name : {"usr[12]", "thread_0.cpu_user", "thread_0Xcpu_user", "5.cpu_user", "a7",
                           "usr[4]x", "xusr[4]", "usr(4)", "thread_0\r.cpu_user", "b"}) {
    FieldMap map = sample_map();
    Field* f = map.wildcard_process(name);
    made += f ? *f->name + "/" + *f->label + "/" + std::to_string(f->type) + " " : "- ";
    EXPECT_EQ(map.wildcard_process(name), f) << "made once, then found";
    EXPECT_EQ(map.fields.size(), f ? 6u : 5u);
  }
  EXPECT_EQ(made,
            "usr[12]/CPU 12 Usr %/8 thread_0.cpu_user/thread_0.cpu_user/2 "
            "thread_0.cpu_user/thread_0.cpu_user/2 5.cpu_user/5.cpu_user/3 a7/A 7/2 - - - - - ");
}

TEST(FieldMapTest, InstanceNumbers) {
  FieldMap map = sample_map();
  map.wildcard_process("usr[12]");
  map.wildcard_process("usr[3]");
  EXPECT_EQ(map.max_instance, 12) << "only rises";
  EXPECT_EQ(map.wildcard_process("usr[ 5x]")->type, PT_PERCENT) << "stoi reads a prefix";
  EXPECT_THROW(map.wildcard_process("usr[]"), std::invalid_argument);
  EXPECT_THROW(map.wildcard_process("usr[x]"), std::invalid_argument);
  EXPECT_THROW(map.wildcard_process("usr[99999999999]"), std::out_of_range);
  EXPECT_EQ(wildcard_to_regex("stats.usr[*]"), "stats.usr\\[(.*)\\]");
  const std::string name = "thread_" + std::string(4 << 20, '7') + "Xcpu_userZ";
  EXPECT_EQ(map.wildcard_process(name), nullptr) << "a long name does not exhaust the stack";
}

TEST(FieldMapTest, PlainMatcherAgreesWithStdRegex) {
  for (const char* pattern :
       {"usr[*]", "thread_*.cpu_user", "stats.idle[*]", "*", "a.*.b", "x*y*", "x+*"}) {
    WildcardPattern matcher(wildcard_to_regex(pattern));
    std::regex reference(wildcard_to_regex(pattern), std::regex::ECMAScript);
    std::istringstream names(
        "usr[1]|usr[]|usr[[1]]|thread_12.cpu_user|thread_.cpu_user|thread_1\n.cpu_user|"
        "stats_idle[3]|stats.idle[3]x||\r|a..b|aXYb|a.\rb|xyzy|x1y2|xy");
    for (std::string name; std::getline(names, name, '|');) {
      SCOPED_TRACE(std::string(pattern) + " / " + name);
      std::smatch m;
      const bool expected = std::regex_match(name, m, reference);
      const std::optional<std::string> got = matcher.match(name);
      ASSERT_EQ(got.has_value(), expected);
      if (expected) {
        EXPECT_EQ(*got, m[1].str());
      }
    }
  }
}

}  // namespace
}  // namespace perflib
