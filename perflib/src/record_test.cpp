// SPDX-License-Identifier: Apache-2.0
// Records: parsing, layouts, accumulation by column kind, derived columns and every output form.
#include "perflib_bits/record.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <list>
#include <sstream>
#include <string>

#include "perflib_bits/calc_plan.h"
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

RecordPtr row(const std::string& header, std::string line) {
  return row(layout(header), std::move(line));
}

std::string csv(const RecordPtr& r, bool header = true) {
  return capture([&](FILE* f) {
    if (header) {
      r->print_csv_header(f, nullptr);
    }
    r->print_csv(f);
  });
}

const char* const NAMES[] = {"peak", "time", "sum", "max", "now", "float", "rate", "avg", "pct"};

// One column of every kind, in PegType order or reversed (so that every column is found by name).
std::shared_ptr<Context> every_kind(bool reversed = false) {
  auto ctx = std::make_shared<Context>();
  ctx->set_version(LV_TRELK_2);  // every column printed
  for (int i = 0; i <= PT_PERCENT; ++i) {
    const int t = reversed ? PT_PERCENT - i : i;
    ctx->append_field(Field(NAMES[t], static_cast<PegType>(t)));
  }
  return ctx;
}

// The line's cells in reverse order.
std::string reversed_cells(const std::string& line) {
  std::istringstream in(line);
  std::string out, cell;
  while (std::getline(in, cell, ',')) {
    out = out.empty() ? cell : cell + "," + out;
  }
  return out;
}

using Op = void (Record::*)(const RecordPtr&);

// Folds the later lines into the first and collapses; with reordered, the later rows come in a
// layout of the opposite column order.
std::string fold(const std::vector<std::string>& lines, Op op, bool reordered) {
  auto ctx = every_kind();
  RecordPtr acc = row(ctx, lines[0]);
  for (std::size_t i = 1; i < lines.size(); ++i) {
    ((*acc).*op)(reordered ? row(every_kind(true), reversed_cells(lines[i])) : row(ctx, lines[i]));
  }
  acc->collapse();
  return csv(acc, false);
}

TEST(RecordTest, CopySharesTheLayoutAndIsNotAccumulating) {
  auto ctx = layout("#timestamp,stats.pkt_drop_percent\n");
  RecordPtr r = row(ctx, "1,2\n");
  r->single_instance_accumulate(row(ctx, "2,4\n"));
  RecordPtr c = r->copy();
  EXPECT_EQ(c->get_context(), ctx);
  EXPECT_EQ(c->average_state, AS_NONE);
  EXPECT_EQ(c->pegs[1].value, 6);
  EXPECT_TRUE(std::make_shared<Record>(ctx, nullptr)->get_pegs().empty());
  EXPECT_EQ(row(ctx, "1,2,3,4\n")->get_pegs().size(), 2u) << "surplus cells are ignored";
  RecordPtr other = row("#timestamp,stats.pkt_drop_percent\n", "1,2\n");
  other->match_context(r);
  EXPECT_EQ(r->get_context(), other->get_context()) << "equal layouts end up shared";
}

TEST(RecordTest, ColumnsOnlyTheOtherHasAreAppendedAndSharersCatchUp) {
  auto ctx = layout("#timestamp,a\n");
  RecordPtr r = row(ctx, "1,2\n");
  RecordPtr sharer = row(ctx, "1,5\n");
  r->multi_instance_accumulate(row("#timestamp,b\n", "1,7\n"));
  ASSERT_EQ(ctx->fields.size(), 3u);
  EXPECT_EQ(r->count_at(2), 7u);
  EXPECT_EQ(sharer->get_pegs().size(), 2u);
  EXPECT_EQ(sharer->count_at(2), 0u) << "reads as zero before it catches up";
  RecordPtr fresh = row("#timestamp\n", "1\n");
  fresh->multi_instance_accumulate(sharer);
  EXPECT_EQ(csv(fresh), "#timestamp,a\n1,5\n") << "only the cells the sharer has";
  sharer->multi_instance_accumulate(r);
  EXPECT_EQ(csv(sharer), "#timestamp,a,b\n1,7,7\n");
}

// Every built-in plan, from a row with every column they read, over 300 s; then a row that has
// only the drop counters (0 / 0 gives 0, plans whose columns are missing add nothing).
TEST(RecordTest, DeriveAppendsComputedColumnsInPlanOrder) {
  auto ctx = layout(
      "#timestamp,daq.received,daq.dropped,daq.rx_bytes,detection.alerts,detection.total_alerts,"
      "search_engine.searched_bytes,stream_tcp.syns,stream_tcp.syn_acks,stream_tcp.created,"
      "stream_tcp.released,stream_tcp.rebuilt_packets,stream_tcp.rebuilt_bytes,"
      "stream_tcp.data_trackers,stream_tcp.timeouts,stream_tcp.prunes,stream.tcp_memcap_prunes,"
      "stream.ip_preemptive_prunes,stream_ip.created,stream_ip.trackers_completed,"
      "stream_ip.nodes_inserted,stream_ip.nodes_deleted,stream_ip.fragmented_bytes,"
      "stream_ip.total_frags,stream_ip.reassembled_bytes,stream_ip.reassembled,"
      "stream_udp.created,stream_udp.released,mpls.total_bytes,mpls.total_packets,"
      "thread_0.cpu_user,thread_0.cpu_system,thread_0.cpu_wall\n");
  const std::string cells =
      "300,900000,100000,750000000,3000,6000,150000000,600,900,1200,1500,1800,2100,2400,2700,3000,"
      "3300,3600,3900,4200,4500,4800,60000,30,90000,45,5100,5400,75000,50,30,10,80";
  RecordPtr r = row(ctx, cells + "\n");
  r->derive(300);
  EXPECT_EQ(csv(r, false),
            cells + ",10,20,10,2500,833.333,20,2,3,4,5,6,11,13,14,15,16,12,0.0016,0.0024,5.6e-05,"
                    "20.0025,2000,2000,1.16667,831.731,0.0001,0.00015,0.006,3.00615,17,18,8,5,9,10,"
                    "0.002,1500,0.000166667,20,37.5,12.5,50\n");
  // Each appended column is the table's, with its label and kind.
  EXPECT_EQ(*ctx->fields[33].name + ": " + *ctx->fields[33].label,
            "stats.pkt_drop_percent: Drop Rate");
  EXPECT_EQ(ctx->fields[33].type, PT_PERCENT);
  EXPECT_EQ(*ctx->fields[71].name, "stats.total_alerts_per_second");
  EXPECT_EQ(*ctx->fields[74].name + ": " + *ctx->fields[74].label, "stats.idle[0]: CPU 0 Idle %");
  EXPECT_EQ(calc_plans[0].expr->get_dependencies(),
            (std::list<std::string>{"daq.dropped", "daq.dropped", "daq.received"}));
  RecordPtr drops = row("#timestamp,daq.received,daq.dropped\n", "0,0,0\n");
  drops->derive(0);
  EXPECT_EQ(csv(drops), "#timestamp,daq.received,daq.dropped,stats.pkt_drop_percent\n0,0,0,0\n");
}

TEST(RecordTest, RulesByKind) {
  //                             peak,time,sum,max,now,float,rate,avg,pct
  const std::vector<std::string> two = {"5,100,1,9,5,1.5,10,1,1", "3,200,2,4,7,9,20,2,3"};
  const std::vector<std::string> three = {"5,100,1,9,5,1.5,10,1,1", "3,200,2,4,7,9,20,2,2",
                                          "4,50,4,1,1,0.5,30,3,6"};
  const struct {
    Op op;
    const std::vector<std::string>& lines;
    const char* expected;
  } cases[] = {
      {&Record::single_instance_accumulate, two, "5,200,3,9,7,1.5,15,1.5,2\n"},
      {&Record::multi_instance_accumulate, two, "5,200,3,13,12,1.5,30,1.5,2\n"},
      {&Record::min_accumulate, two, "3,200,1,4,5,1.5,10,1,1\n"},
      {&Record::max_accumulate, two, "5,200,2,9,7,9,20,2,3\n"},
      {&Record::average_accumulate, two, "4,200,1.5,6.5,6,5.25,15,1.5,2\n"},
      {&Record::single_instance_accumulate, three, "5,200,7,9,1,1.5,20,2,3\n"},
      {&Record::multi_instance_accumulate, three, "5,200,7,14,13,1.5,60,2,3\n"},
      {&Record::min_accumulate, three, "3,200,1,1,1,0.5,10,1,1\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(fold(c.lines, c.op, false), c.expected);
    EXPECT_EQ(fold(c.lines, c.op, true), c.expected) << "through the lookup path";
  }
}

TEST(RecordTest, AveragesCountWhatEachSideHeld) {
  // A column new to the receiver counts the incoming value only; an averaged counter holds a
  // real, prints as one and is counted on as a counter again.
  auto narrow = std::make_shared<Context>();
  narrow->append_field(Field("time", PT_TIME));
  narrow->set_version(LV_TRELK_2);
  RecordPtr r = row(narrow, "1");
  r->average_accumulate(row(every_kind(), "0,1,8,0,0,0,0,0,4.5"));
  r->collapse();
  r->average_accumulate(r->copy());  // one layout, but not plain pegs: found by position
  r->collapse();
  EXPECT_EQ(csv(r, false), "1,0,8,0,0,0,0,0,4.5\n");
  EXPECT_EQ(r->get_context()->fields[2].type, PT_SUM);
  r->multi_instance_accumulate(row(every_kind(), "0,0,3,0,0,0,0,0,0"));
  EXPECT_EQ(r->count_at(2), 11u);
  RecordPtr big = row(every_kind(), "0,0,18446744073709551615");
  big->average_accumulate(row(every_kind(), "0,0,0"));
  big->collapse();
  EXPECT_EQ(big->value_at(2), 18446744073709551615.0L / 2) << "read unsigned, not negative";
}

TEST(RecordDeathTest, ModesDoNotMixWithoutCollapse) {
  auto ctx = every_kind();
  RecordPtr r = row(ctx, "1");
  r->multi_instance_accumulate(row(ctx, "1"));
  EXPECT_DEATH(r->single_instance_accumulate(r), "perflib.*single_instance_accumulate.*AS_SINGLE");
  EXPECT_DEATH(r->min_accumulate(r), "average_state == AS_NONE");
  EXPECT_DEATH(r->max_accumulate(r), "average_state == AS_NONE");
  EXPECT_DEATH(r->average_accumulate(r), "AS_BLIND");
  EXPECT_DEATH(r->derive(1), "derive.*average_state == AS_NONE");
  r->collapse();
  r->single_instance_accumulate(row(ctx, "1"));
  EXPECT_DEATH(r->multi_instance_accumulate(r), "AS_MULTI");
}

TEST(RecordTest, CsvOfEmptyAndOlderLayouts) {
  EXPECT_EQ(csv(std::make_shared<Record>(std::make_shared<Context>(), nullptr)), "\n\n");
  // "_DUPLICATE" is cut from any name; a maximum column shows outside the current layout.
  RecordPtr r = row("#time,x_DUPLICATE,_DUPLICATE,iCPUs,pkt_drop_percent\n", "5,1e20,3,2,0.5\n");
  r->get_context()->fields[3].type = PT_PEAK;
  EXPECT_EQ(csv(r), "#time,x,,iCPUs,pkt_drop_percent\n5,1,3,2,0.5\n");
}

// The formatted block (a UTC date line, or the local one of ctime) and the three-column report
// skip nothing but the report's time column, and stop at the record's own cells.
TEST(RecordTest, FormattedBlockAndReport) {
  RecordPtr avg = row("#pkt_drop_percent,time,total_sessions\n", "0.5,0,3\n");
  avg->average_accumulate(row("#pkt_drop_percent,time,total_sessions\n", "1.5,0,4\n"));
  avg->collapse();
  RecordPtr lo = row("#pkt_drop_percent,time,total_sessions\n", "0.5,0,3\n");
  RecordPtr hi = row("#pkt_drop_percent,time,total_sessions\n", "1.5,0,4\n");
  avg->get_context()->append_field(Field("Absent", PT_SUM));  // beyond avg's cells
  EXPECT_EQ(capture([&](FILE* f) { avg->print_formatted(f, true); }),
            "Thu, 01 Jan 1970 00:00:00 GMT\n"
            "Drop Rate: 1\n"
            "     Time: 0\n"
            "   Active: 3.5\n"
            "\n");
  setenv("TZ", "UTC", 1);
  tzset();
  EXPECT_EQ(capture([&](FILE* f) { lo->print_formatted(f, false); }),
            "Thu Jan  1 00:00:00 1970\nDrop Rate: 0.5\n     Time: 0\n   Active: 3\n\n");
  EXPECT_EQ(capture([&](FILE* f) { print_report(f, avg, lo, hi); }),
            "                        Average                  Min                  Max\n"
            "Drop Rate:                    1                  0.5                  1.5\n"
            "   Active:                  3.5                    3                    4\n"
            "\n");
}

// Labels that are easy to mistype or "correct" by mistake, in each layout's formatted block.
TEST(RecordTest, LabelsFromTheTables) {
  RecordPtr sdrop = row("#sdrops\n", "1\n");
  RecordPtr old =
      row("#pkt_drop_percent,wire_mbits_per_sec.realtime,wire_mbits_per_sec.realtime,"
          "avg_bytes_per_packet,iCPUs,would_tcp::trim_mss\n",
          "1,2,3,4,5,6\n");
  RecordPtr current =
      row("#normalizer.ip6_hops,normalizer.tcp_req_urp,stats.usr[3],"
          "thread_2.cpu_wall,stats.mpls_mbits_per_sec.realtime\n",
          "1,2,3,4,5\n");
  EXPECT_EQ(capture([&](FILE* f) {
              for (const RecordPtr& r : {sdrop, old, current}) {
                r->print_formatted(f, true);
              }
            }),
            "Thu, 01 Jan 1970 00:00:00 GMT\nSupplemental Drops: 1\n\n"
            "Thu, 01 Jan 1970 00:00:00 GMT\n"
            "               Drop Rate: 1\n"
            "               Mbits/Sec: 2\n"
            "        Mbits/Sec (wire): 3\n"
            "  K-Pkts/Sec (app layer): 4\n"
            "          Number of CPUs: 5\n"
            "Would Norm tcp::trim_mss: 6\n\n"
            "Thu, 01 Jan 1970 00:00:00 GMT\n"
            "                    Norm ip6::ttl: 1\n"
            "                    Norm tcp::urp: 2\n"
            "                      CPU 3 Usr %: 3\n"
            "                thread_2.cpu_wall: 4\n"
            "stats.mpls_mbits_per_sec.realtime: 5\n\n");
}

}  // namespace
}  // namespace perflib
