#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "perflib_bits/record.h"
#include "test_support.h"

namespace perflib {
namespace {

using test_support::capture;

std::shared_ptr<Context> layout(std::string header) {
  return std::make_shared<Context>(header.data());
}

RecordPtr row(const std::shared_ptr<Context>& ctx, std::string line) {
  return std::make_shared<Record>(ctx, line.data());
}

TEST(RecordOutputTest, CsvHeaderAndRow) {
  auto ctx = layout("#timestamp,iCPUs,foo,foo,stats.pkt_drop_percent\n");
  ctx->append_field(Field("num_normalizations", PT_PEAK));  // hidden in the current layout
  RecordPtr r = row(ctx, "1200,4,18446744073709551615,7,0.5,3\n");
  EXPECT_EQ(capture([&](FILE* f) { r->print_csv_header(f, nullptr); }),
            "#timestamp,iCPUs,foo,foo,stats.pkt_drop_percent\n");
  EXPECT_EQ(capture([&](FILE* f) { r->print_csv(f); }), "1200,4,18446744073709551615,7,0.5\n");
  RecordPtr same_layout = row(layout("#timestamp,iCPUs,foo,foo,stats.pkt_drop_percent\n"), "1\n");
  same_layout->get_context()->append_field(Field("num_normalizations", PT_PEAK));
  EXPECT_EQ(capture([&](FILE* f) { r->print_csv_header(f, same_layout); }), "");
  EXPECT_EQ(capture([&](FILE* f) { r->print_csv_header(f, row(layout("#a\n"), "1\n")); }),
            "#timestamp,iCPUs,foo,foo,stats.pkt_drop_percent\n");
}

TEST(RecordOutputTest, CsvEdgeShapes) {
  auto empty = std::make_shared<Context>();
  RecordPtr none = std::make_shared<Record>(empty, nullptr);
  EXPECT_EQ(capture([&](FILE* f) { none->print_csv_header(f, nullptr); }), "\n");
  EXPECT_EQ(capture([&](FILE* f) { none->print_csv(f); }), "\n");

  auto older = layout("#time,x_DUPLICATE,_DUPLICATE,iCPUs\n");  // layout 3 rules do not apply
  older->set_version(LV_TRELK_2);
  older->fields[3].type = PT_PEAK;
  RecordPtr r = row(older, "5,1e20,0.5\n");
  EXPECT_EQ(capture([&](FILE* f) { r->print_csv_header(f, nullptr); }), "#time,x,,iCPUs\n");
  EXPECT_EQ(capture([&](FILE* f) { r->print_csv(f); }), "5,1,0,0\n");

  auto hidden_first = std::make_shared<Context>();
  hidden_first->set_version(LV_TRELK_3);
  hidden_first->append_field(Field("peak", PT_PEAK));
  hidden_first->append_field(Field("rate", PT_RATE));
  RecordPtr h = row(hidden_first, "1,1e20\n");
  EXPECT_EQ(capture([&](FILE* f) { h->print_csv_header(f, nullptr); }), "#rate\n");
  EXPECT_EQ(capture([&](FILE* f) { h->print_csv(f); }), ",1e+20\n") << "comma test is on the index";
}

TEST(RecordOutputTest, AveragedCounterPrintsAsReal) {
  auto ctx = layout("#timestamp,foo\n");
  RecordPtr r = row(ctx, "1,3\n");
  r->average_accumulate(row(ctx, "2,4\n"));
  r->collapse();
  EXPECT_EQ(capture([&](FILE* f) { r->print_csv(f); }), "2,3.5\n");
}

TEST(RecordOutputTest, FormattedBlock) {
  auto ctx = layout("#time,pkt_drop_percent,total_sessions\n");
  RecordPtr r = row(ctx, "0,0.25,12\n");
  EXPECT_EQ(capture([&](FILE* f) { r->print_formatted(f, true); }),
            "Thu, 01 Jan 1970 00:00:00 GMT\n"
            "     Time: 0\n"
            "Drop Rate: 0.25\n"
            "   Active: 12\n"
            "\n");
  setenv("TZ", "UTC", 1);
  tzset();
  EXPECT_EQ(capture([&](FILE* f) { r->print_formatted(f, false); }).substr(0, 25),
            "Thu Jan  1 00:00:00 1970\n");
}

TEST(RecordOutputTest, ThreeColumnReport) {
  auto ctx = layout("#time,pkt_drop_percent,total_sessions\n");
  RecordPtr avg = row(ctx, "0,0.5,3\n");
  avg->average_accumulate(row(ctx, "0,1.5,4\n"));
  avg->collapse();
  RecordPtr lo = row(ctx, "0,0.5,3\n");
  RecordPtr hi = row(ctx, "0,1.5,4\n");
  EXPECT_EQ(capture([&](FILE* f) { print_report(f, avg, lo, hi); }),
            "                        Average                  Min                  Max\n"
            "Drop Rate:                    1                  0.5                  1.5\n"
            "   Active:                  3.5                    3                    4\n"
            "\n");
  RecordPtr empty = std::make_shared<Record>(std::make_shared<Context>(), nullptr);
  EXPECT_EQ(capture([&](FILE* f) { print_report(f, empty, empty, empty); }),
            "               Average                  Min                  Max\n\n");
}

}  // namespace
}  // namespace perflib
