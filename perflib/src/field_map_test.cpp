#include "perflib_bits/field_map.h"

#include <gtest/gtest.h>

#include <regex>
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

TEST(FieldMapTest, PatternRules) {
  const struct {
    const char* name;
    const char* made;  // name then label; null: no match
    PegType type;
  } cases[] = {
      {"usr[12]", "usr[12] CPU 12 Usr %", PT_PERCENT},
      {"thread_0.cpu_user", "thread_0.cpu_user thread_0.cpu_user", PT_SUM},
      {"thread_0Xcpu_user", "thread_0.cpu_user thread_0.cpu_user", PT_SUM},  // dot not escaped
      {"5.cpu_user", "5.cpu_user 5.cpu_user", PT_MAX},  // only the later pattern matches
      {"a7", "a7 A 7", PT_SUM},
      {"usr[4]x", nullptr, PT_NONE},  // the whole name must match
      {"xusr[4]", nullptr, PT_NONE},
      {"usr(4)", nullptr, PT_NONE},
      {"thread_0\r.cpu_user", nullptr, PT_NONE},  // a regex dot never matches CR or LF
      {"b", nullptr, PT_NONE},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FieldMap map = sample_map();
    Field* f = map.wildcard_process(c.name);
    if (c.made == nullptr) {
      EXPECT_EQ(f, nullptr);
      EXPECT_EQ(map.fields.size(), 5u);
    } else {
      ASSERT_NE(f, nullptr);
      EXPECT_EQ(*f->name + " " + *f->label, c.made);
      EXPECT_EQ(f->type, c.type);
      EXPECT_EQ(map.wildcard_process(c.name), f) << "made once, then found";
    }
  }
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
  const char* patterns[] = {"usr[*]", "thread_*.cpu_user", "stats.idle[*]", "*", "a.*.b", "x*y*"};
  const char* names[] = {"usr[1]",   "usr[]",      "usr[[1]]", "thread_12.cpu_user",
                         "thread_.cpu_user", "thread_1\n.cpu_user", "stats_idle[3]",
                         "stats.idle[3]x",   "",     "\r", "a..b", "aXYb", "a.\rb", "xyzy",
                         "x1y2",     "xy"};
  for (const char* pattern : patterns) {
    WildcardPattern matcher(wildcard_to_regex(pattern));
    std::regex reference(wildcard_to_regex(pattern), std::regex::ECMAScript);
    for (const std::string name : names) {
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
