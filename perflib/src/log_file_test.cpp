// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/log_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "test_support.h"

namespace perflib {
namespace {

// A record the reader hands out again once nobody holds it reads as a fresh one, whatever it went
// through meanwhile.
TEST(LogFileTest, AReusedRecordStartsFresh) {
  char text[] = "#timestamp,n,stats.pkt_drop_percent\n1,2,4\n3,5,8\n6,7,9\n";
  LogFile file(fmemopen(text, sizeof text - 1, "r"), false);
  EXPECT_EQ(file.get_prev_time(), 0) << "before the first record";
  RecordPtr r = file.read_next();
  const auto twice = [&r] { r->average_accumulate(std::make_shared<Record>(r.get())); };
  twice();
  r->collapse();
  twice();
  r.reset();
  r = file.read_next();
  r->collapse();
  EXPECT_EQ(test_support::capture([&](FILE* f) { r->print_csv(f); }), "3,5,8\n");
  EXPECT_EQ(file.get_prev_time(), 3);
  twice();
  r->collapse();  // its counters now hold reals
  r.reset();
  r = file.read_next();
  EXPECT_EQ(test_support::capture([&](FILE* f) { r->print_csv(f); }), "6,7,9\n");
  EXPECT_EQ(file.read_next(), nullptr);
  EXPECT_EQ(file.get_prev_time(), 0) << "after the end";
}

TEST(LogFileTest, ClosesWhatItOpenedButNotStandardInput) {
  const auto open_files = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = open_files();
  { LogFile file("/dev/null", false); }
  EXPECT_EQ(open_files(), before);
  { LogFile file(stdin, false); }
  EXPECT_EQ(open_files(), before) << "standard input stays open";
}

}  // namespace
}  // namespace perflib
