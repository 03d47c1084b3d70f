#include "perflib_bits/record.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "perflib_bits/field_tables.h"

namespace perflib {
namespace {

std::shared_ptr<Context> layout(std::string header) {
  return std::make_shared<Context>(header.data());
}

RecordPtr row(const std::shared_ptr<Context>& ctx, std::string line) {
  return std::make_shared<Record>(ctx, line.data());
}

TEST(RecordTest, ParsesCellsLikeTheCLibrary) {
  auto ctx = layout("#timestamp,a,b,stats.pkt_drop_percent\n");
  struct Case {
    const char* line;
    std::uint64_t t, a, b;
    long double real;
  };
  const Case cases[] = {
      {"10,,20\n", 10, 20, 0, 0},              // an empty cell is skipped, later values shift left
      {"1,2,3,0.25,99,98\n", 1, 2, 3, 0.25L},  // surplus cells ignored
      {"-1,junk,0x10,inf\n", UINT64_MAX, 0, 0, INFINITY},
      {"\n", 0, 0, 0, 0},
      {"5,7\r\n", 5, 7, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    RecordPtr r = row(ctx, c.line);
    ASSERT_EQ(r->get_pegs().size(), 4u);
    EXPECT_EQ(r->pegs[0].count, c.t);
    EXPECT_EQ(r->pegs[1].count, c.a);
    EXPECT_EQ(r->pegs[2].count, c.b);
    EXPECT_EQ(r->pegs[3].value, c.real);
  }
  EXPECT_TRUE(std::make_shared<Record>(ctx, nullptr)->get_pegs().empty());
}

TEST(RecordTest, TimeColumnByLayout) {
  EXPECT_EQ(row(layout("#x,timestamp\n"), "1,2\n")->get_time(), 2);
  EXPECT_EQ(row(layout("#time,sdrops\n"), "-100,5\n")->get_time(), -100);
  RecordPtr none = row(layout("#a,b\n"), "1,2\n");
  EXPECT_EQ(none->get_time_index(), NO_INDEX);
  EXPECT_EQ(none->get_time(), 0);
  none->set_time(50);
  EXPECT_EQ(none->pegs[0].count, 1u);
}

TEST(RecordTest, CopySharesContextAndStartsFresh) {
  auto ctx = layout("#timestamp,stats.pkt_drop_percent\n");
  RecordPtr r = row(ctx, "1,2\n");
  r->single_instance_accumulate(row(ctx, "2,4\n"));
  RecordPtr c = r->copy();
  EXPECT_EQ(c->get_context(), ctx);
  EXPECT_EQ(c->average_state, AS_NONE);
  EXPECT_EQ(c->pegs[1].value, 6);
}

TEST(RecordTest, SupplementalDropsReachTheCurrentLayoutInTwoSteps) {
  RecordPtr sdrop = row(layout("#time,sdrops\n"), "1000,7\n");
  RecordPtr current = row(layout("#timestamp,daq.dropped\n"), "1000,3\n");
  current->match_context(sdrop);
  const Context& c = *sdrop->get_context();
  EXPECT_EQ(c.version, 3);
  EXPECT_EQ(*c.fields[0].name, "timestamp");
  EXPECT_EQ(*c.fields[1].name, "daq.dropped");
  EXPECT_EQ(sdrop->get_context(), current->get_context()) << "equal layouts end up shared";
  EXPECT_EQ(sdrop->get_time(), 1000);
}

TEST(RecordTest, OlderRecordIsUpgradedInPlaceWhicheverSideItIs) {
  auto old_ctx = layout("#time,pkt_drop_percent,total_sessions,iCPUs,legacy_only\n");
  RecordPtr old_row = row(old_ctx, "1,0.5,3,2,9\n");
  RecordPtr reader_row = row(old_ctx, "2,0.5,3,2,9\n");  // shares the layout
  RecordPtr out = std::make_shared<Record>(std::make_shared<Context>(), nullptr);
  out->multi_instance_accumulate(row(layout("#timestamp,stream_tcp.sessions\n"), "0,1\n"));
  old_row->match_context(out);
  EXPECT_EQ(old_ctx->version, 3);
  EXPECT_EQ(*old_ctx->fields[1].name, "stats.pkt_drop_percent");
  EXPECT_EQ(*old_ctx->fields[2].name, "stream_tcp.sessions");
  EXPECT_EQ(*old_ctx->fields[3].name, "iCPUs") << "a column without a pair keeps its name";
  EXPECT_EQ(*old_ctx->fields[4].name, "legacy_only");
  EXPECT_EQ(old_ctx->find("total_sessions"), NO_INDEX);
  EXPECT_EQ(reader_row->get_context()->version, 3);
}

TEST(RecordTest, ColumnsOnlyTheOtherHasAreAppendedAndSharersCatchUp) {
  auto ctx = layout("#timestamp,a\n");
  RecordPtr r = row(ctx, "1,2\n");
  RecordPtr sharer = row(ctx, "1,5\n");
  r->multi_instance_accumulate(row(layout("#timestamp,b\n"), "1,7\n"));
  ASSERT_EQ(ctx->fields.size(), 3u);
  EXPECT_EQ(r->count_at(2), 7u);
  EXPECT_EQ(sharer->get_pegs().size(), 2u);
  EXPECT_EQ(sharer->count_at(2), 0u) << "reads as zero before it catches up";
  sharer->multi_instance_accumulate(r);
  EXPECT_EQ(sharer->get_pegs().size(), 3u);
  EXPECT_EQ(sharer->count_at(1), 7u);
  EXPECT_EQ(sharer->count_at(2), 7u);
}

TEST(RecordTest, DeriveAppendsComputedColumnsInPlanOrder) {
  auto ctx = layout("#timestamp,daq.received,daq.dropped,daq.rx_bytes\n");
  RecordPtr r = row(ctx, "300,900,100,3000000\n");
  r->derive(300);
  auto value = [&](const char* name) { return r->value_at(ctx->find(name)); };
  EXPECT_EQ(*ctx->fields[4].name, "stats.pkt_drop_percent");
  EXPECT_EQ(*ctx->fields[5].name, "stats.wire_mbits_per_sec.realtime");
  EXPECT_DOUBLE_EQ(value("stats.pkt_drop_percent"), 10);
  EXPECT_DOUBLE_EQ(value("stats.wire_mbits_per_sec.realtime"), 0.08);
  EXPECT_DOUBLE_EQ(value("stats.avg_bytes_per_wire_packet"), 3000000.0 / 900);
  EXPECT_EQ(ctx->find("stats.alerts_per_second"), NO_INDEX) << "its input is missing";
  EXPECT_EQ(ctx->find("stats.max_sessions"), NO_INDEX) << "deprecated";
  EXPECT_EQ(r->get_pegs().size(), ctx->fields.size());

  RecordPtr idle = row(layout("#timestamp,daq.received,daq.dropped,daq.rx_bytes\n"), "0,0,0,5\n");
  idle->derive(0);
  EXPECT_EQ(idle->value_at(idle->get_context()->find("stats.pkt_drop_percent")), 0);
  EXPECT_EQ(idle->value_at(idle->get_context()->find("stats.wire_mbits_per_sec.realtime")), 0);
}

TEST(RecordDeathTest, DeriveRequiresNoAveraging) {
  auto ctx = layout("#timestamp,stats.pkt_drop_percent\n");
  RecordPtr r = row(ctx, "1,2\n");
  r->single_instance_accumulate(row(ctx, "1,2\n"));
  EXPECT_DEATH(r->derive(1), "perflib.*derive.*average_state == AS_NONE");
}

}  // namespace
}  // namespace perflib
