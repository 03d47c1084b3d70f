#include "perflib_bits/log_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_support.h"

namespace perflib {
namespace {

// Reads a whole file: for each record "<version>:<time>/<peg count>", then "end".
std::string read_all(const std::string& content) {
  test_support::TempDir dir;
  LogFile file(dir.write("p.csv", content), false);
  std::string seen;
  while (RecordPtr r = file.read_next()) {
    seen += std::to_string(r->get_context()->version) + ":" + std::to_string(r->get_time()) + "/"
            + std::to_string(r->get_pegs().size()) + " ";
  }
  EXPECT_EQ(file.get_prev_time(), 0);
  return seen + "end";
}

TEST(LogFileTest, ReadsRecordsUnderTheirHeaders) {
  struct Case {
    const char* content;
    const char* expected;
  };
  const Case cases[] = {
      {"#timestamp,a\n#timestamp,a\n", "end"},
      {"100,5\n200,6\n", "1:100/2 1:200/2 end"},  // no header: "#time,sdrops"
      {"#timestamp,a\n1,2\n#time,pkt_drop_percent,x\n#timestamp\n3\n4\n",
       "3:1/2 3:3/1 3:4/1 end"},                                // the last of two headers counts
      {"#timestamp,a\n1,2\n\n3,4\n", "3:1/2 3:0/2 3:3/2 end"},  // an empty line is a zero row
      {"#timestamp,a\n1,2\n##\n5,6\n7,8\n", "3:1/2 end"},       // "##": no columns, the input ends
      {"#timestamp,a\n1,2\n3,4", "3:1/2 3:3/2 end"},            // last line without newline
      {"", "end"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.content);
    EXPECT_EQ(read_all(c.content), c.expected);
  }
}

TEST(LogFileTest, ReusedRecordsStayCorrect) {
  test_support::TempDir dir;
  LogFile file(dir.write("p.csv", "#timestamp,a\n1,2\n3,4\n5,6\n"), false);
  RecordPtr first = file.read_next();
  RecordPtr second = file.read_next();
  EXPECT_EQ(first->count_at(1), 2u) << "a record still held is not overwritten";
  second.reset();
  RecordPtr third = file.read_next();
  EXPECT_EQ(first->count_at(1), 2u);
  EXPECT_EQ(third->count_at(1), 6u);
}

}  // namespace
}  // namespace perflib
