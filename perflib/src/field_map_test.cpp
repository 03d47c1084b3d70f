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

TEST(FieldMapTest, ResolvesInstanceNamesAndCachesThem) {
  FieldMap map = sample_map();
  Field* usr12 = map.wildcard_process("usr[12]");
  ASSERT_NE(usr12, nullptr);
  EXPECT_EQ(*usr12->name, "usr[12]");
  EXPECT_EQ(*usr12->label, "CPU 12 Usr %");
  EXPECT_EQ(usr12->type, PT_PERCENT);
  EXPECT_EQ(map.max_instance, 12);
  EXPECT_EQ(map.wildcard_process("usr[12]"), usr12);
  map.wildcard_process("usr[3]");
  EXPECT_EQ(map.max_instance, 12) << "max_instance only rises";
  EXPECT_EQ(map.find("usr[3]")->type, PT_PERCENT);
}

TEST(FieldMapTest, PatternRules) {
  struct Case {
    const char* name;
    const char* resolved_name;  // null: no match
    PegType type;
  };
  const Case cases[] = {
      {"thread_0.cpu_user", "thread_0.cpu_user", PT_SUM},
      {"thread_0Xcpu_user", "thread_0.cpu_user", PT_SUM},  // the dot is not escaped
      {"5.cpu_user", "5.cpu_user", PT_MAX},                // only the later pattern matches
      {"usr[4]x", nullptr, PT_NONE},                       // whole name must match
      {"xusr[4]", nullptr, PT_NONE},
      {"usr(4)", nullptr, PT_NONE},
      {"thread_0\r.cpu_user", nullptr, PT_NONE},  // a regex dot never matches CR or LF
      {"a7", "a7", PT_SUM},
      {"b", nullptr, PT_NONE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FieldMap map = sample_map();
    Field* f = map.wildcard_process(c.name);
    if (c.resolved_name == nullptr) {
      EXPECT_EQ(f, nullptr);
      EXPECT_EQ(map.fields.size(), 5u);
    } else {
      ASSERT_NE(f, nullptr);
      EXPECT_EQ(*f->name, c.resolved_name);
      EXPECT_EQ(f->type, c.type);
    }
  }
}

TEST(FieldMapTest, NonNumericInstanceThrowsFromStoi) {
  for (const char* name : {"usr[]", "usr[x]", "usr[99999999999]"}) {
    FieldMap map = sample_map();
    EXPECT_ANY_THROW(map.wildcard_process(name)) << name;
  }
  FieldMap map = sample_map();
  EXPECT_THROW(map.wildcard_process("usr[x]"), std::invalid_argument);
  EXPECT_THROW(map.wildcard_process("usr[99999999999]"), std::out_of_range);
  EXPECT_EQ(map.wildcard_process("usr[ 5x]")->type, PT_PERCENT) << "stoi reads a prefix";
  EXPECT_EQ(map.max_instance, 5);
}

TEST(FieldMapTest, RegexTextReplacesOnlyStarAndBrackets) {
  EXPECT_EQ(wildcard_to_regex("stats.usr[*]"), "stats.usr\\[(.*)\\]");
  EXPECT_EQ(wildcard_to_regex("thread_*.cpu_wall"), "thread_(.*).cpu_wall");
}

TEST(FieldMapTest, PlainMatcherAgreesWithStdRegex) {
  const char* patterns[] = {"usr[*]", "thread_*.cpu_user", "stats.idle[*]", "*", "a.*.b", "x*y*"};
  const char* names[] = {"usr[1]",
                         "usr[]",
                         "usr[[1]]",
                         "thread_12.cpu_user",
                         "thread_.cpu_user",
                         "thread_1\n.cpu_user",
                         "stats_idle[3]",
                         "stats.idle[3]x",
                         "",
                         "\r",
                         "a..b",
                         "aXYb",
                         "a.\rb",
                         "xyzy",
                         "x1y2",
                         "xy"};
  for (const char* pattern : patterns) {
    WildcardPattern matcher(wildcard_to_regex(pattern));
    std::regex reference(wildcard_to_regex(pattern), std::regex::ECMAScript);
    for (const char* name : names) {
      SCOPED_TRACE(std::string(pattern) + " / " + name);
      std::smatch m;
      std::string s = name;
      bool expected = std::regex_match(s, m, reference);
      std::optional<std::string> got = matcher.match(s);
      ASSERT_EQ(got.has_value(), expected);
      if (expected) {
        EXPECT_EQ(*got, m[1].str());
      }
    }
  }
}

TEST(FieldMapTest, LongNamesDoNotExhaustTheStack) {
  FieldMap map = sample_map();
  std::string name = "thread_" + std::string(4 << 20, '7') + "Xcpu_userZ";
  EXPECT_EQ(map.wildcard_process(name), nullptr);
}

}  // namespace
}  // namespace perflib
