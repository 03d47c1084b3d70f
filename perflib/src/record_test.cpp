#include "perflib_bits/record.h"

#include <gtest/gtest.h>

#include <string>

#include "test_support.h"

namespace perflib {
namespace {

std::shared_ptr<Context> layout(std::string header) {
  return std::make_shared<Context>(header.data());
}

RecordPtr row(const std::shared_ptr<Context>& ctx, std::string line) {
  return std::make_shared<Record>(ctx, line.data());
}

std::string csv(const RecordPtr& r) {
  return test_support::capture([&](FILE* f) {
    r->print_csv_header(f, nullptr);
    r->print_csv(f);
  });
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
  EXPECT_EQ(test_support::capture([&](FILE* f) { r->print_csv(f); }),
            cells + ",10,20,10,2500,833.333,20,2,3,4,5,6,11,13,14,15,16,12,0.0016,0.0024,5.6e-05,"
                    "20.0025,2000,2000,1.16667,831.731,0.0001,0.00015,0.006,3.00615,17,18,8,5,9,10,"
                    "0.002,1500,0.000166667,20,37.5,12.5,50\n");
  EXPECT_EQ(*ctx->fields[33].name, "stats.pkt_drop_percent");
  EXPECT_EQ(*ctx->fields[71].name, "stats.total_alerts_per_second");
  EXPECT_EQ(*ctx->fields[74].name, "stats.idle[0]");
  RecordPtr drops = row(layout("#timestamp,daq.received,daq.dropped\n"), "0,0,0\n");
  drops->derive(0);
  EXPECT_EQ(csv(drops), "#timestamp,daq.received,daq.dropped,stats.pkt_drop_percent\n0,0,0,0\n");
}

}  // namespace
}  // namespace perflib
