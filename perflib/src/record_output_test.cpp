#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "perflib_bits/record.h"
#include "test_support.h"

namespace perflib {
namespace {

using test_support::capture;

RecordPtr row(std::string header, std::string line) {
  return std::make_shared<Record>(std::make_shared<Context>(header.data()), line.data());
}

TEST(RecordOutputTest, CsvOfEmptyAndOlderLayouts) {
  RecordPtr none = std::make_shared<Record>(std::make_shared<Context>(), nullptr);
  EXPECT_EQ(capture([&](FILE* f) { none->print_csv_header(f, nullptr); }), "\n");
  EXPECT_EQ(capture([&](FILE* f) { none->print_csv(f); }), "\n");
  // "_DUPLICATE" is cut from any name; a maximum column shows outside the current layout.
  RecordPtr r = row("#time,x_DUPLICATE,_DUPLICATE,iCPUs,pkt_drop_percent\n", "5,1e20,3,2,0.5\n");
  r->get_context()->fields[3].type = PT_PEAK;
  EXPECT_EQ(capture([&](FILE* f) { r->print_csv_header(f, nullptr); }),
            "#time,x,,iCPUs,pkt_drop_percent\n");
  EXPECT_EQ(capture([&](FILE* f) { r->print_csv(f); }), "5,1,3,2,0.5\n");
}

// The formatted block (a UTC date line, or the local one of ctime) and the three-column report
// skip nothing but the report's time column, and stop at the record's own cells.
TEST(RecordOutputTest, FormattedBlockAndReport) {
  RecordPtr avg = row("#time,pkt_drop_percent,total_sessions\n", "0,0.5,3\n");
  avg->average_accumulate(row("#time,pkt_drop_percent,total_sessions\n", "0,1.5,4\n"));
  avg->collapse();
  RecordPtr lo = row("#time,pkt_drop_percent,total_sessions\n", "0,0.5,3\n");
  RecordPtr hi = row("#time,pkt_drop_percent,total_sessions\n", "0,1.5,4\n");
  avg->get_context()->append_field(Field("Absent", PT_SUM));  // beyond avg's cells
  EXPECT_EQ(capture([&](FILE* f) { avg->print_formatted(f, true); }),
            "Thu, 01 Jan 1970 00:00:00 GMT\n"
            "     Time: 0\n"
            "Drop Rate: 1\n"
            "   Active: 3.5\n"
            "\n");
  setenv("TZ", "UTC", 1);
  tzset();
  EXPECT_EQ(capture([&](FILE* f) { lo->print_formatted(f, false); }),
            "Thu Jan  1 00:00:00 1970\n     Time: 0\nDrop Rate: 0.5\n   Active: 3\n\n");
  EXPECT_EQ(capture([&](FILE* f) { print_report(f, avg, lo, hi); }),
            "                        Average                  Min                  Max\n"
            "Drop Rate:                    1                  0.5                  1.5\n"
            "   Active:                  3.5                    3                    4\n"
            "\n");
}

}  // namespace
}  // namespace perflib
