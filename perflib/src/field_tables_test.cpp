#include "perflib_bits/field_tables.h"

#include <gtest/gtest.h>

#include "builtin_tables.h"
#include "perflib_bits/calc_plan.h"

namespace perflib {
namespace {

// Rows that are easy to mistype or "correct" by mistake.
TEST(FieldTablesTest, RowsAsTabled) {
  const struct {
    FieldMap* map;
    const char* name;
    const char* label;
    PegType type;
  } rows[] = {
      {&sdrop_fields, "sdrops", "Supplemental Drops", PT_SUM},
      {&trelk_2_fields, "wire_mbits_per_sec.realtime_DUPLICATE", "Mbits/Sec (wire)", PT_RATE},
      {&trelk_2_fields, "avg_bytes_per_packet", "K-Pkts/Sec (app layer)", PT_AVERAGE},
      {&trelk_2_fields, "iCPUs", "Number of CPUs", PT_PEAK},
      {&trelk_2_fields, "would_tcp::trim_mss", "Would Norm tcp::trim_mss", PT_SUM},
      {&trelk_3_fields, "thread_*.cpu_wall", "thread_*.cpu_wall", PT_SUM},
      {&trelk_3_fields, "stats.usr[*]", "CPU * Usr %", PT_PERCENT},
      {&trelk_3_fields, "normalizer.ip6_hops", "Norm ip6::ttl", PT_SUM},
      {&trelk_3_fields, "normalizer.tcp_req_urp", "Norm tcp::urp", PT_SUM},  // first row kept
      {&trelk_3_fields, "stream_tcp.memory", "Stream memory (bytes)", PT_NOW},
      {&trelk_3_fields, "stats.mpls_mbits_per_sec.realtime", "stats.mpls_mbits_per_sec.realtime",
       PT_RATE},  // no older column of that key
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.name);
    Field* f = r.map->find(r.name);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(*f->label, r.label);
    EXPECT_EQ(f->type, r.type);
  }
  for (const Trelk3Row& row : trelk_3_rows) {
    if (row.source != nullptr) {
      SCOPED_TRACE(row.name);
      ASSERT_NE(trelk_2_fields.find(row.source), nullptr);
      EXPECT_EQ(*trelk_2_fields.find(row.source)->label, row.label);
      EXPECT_EQ(trelk_2_fields.find(row.source)->type, row.type);
    }
  }
}

TEST(FieldTablesTest, TransformPairsInOrder) {
  ASSERT_EQ(sdrop_to_trelk_2.size(), 1u);
  EXPECT_EQ(*sdrop_to_trelk_2[0].second->name, "pkt_stats.pkts_drop");
  ASSERT_GE(trelk_2_to_trelk_3.size(), 121u);
  const auto pair = [](std::size_t i) {
    return *trelk_2_to_trelk_3[i].first->name + ">" + *trelk_2_to_trelk_3[i].second->name;
  };
  EXPECT_EQ(pair(0), "time>timestamp");
  EXPECT_EQ(pair(27), "ip6::ttl>normalizer.ip6_hops");
  EXPECT_EQ(pair(80), "stream5_mem_in_use>stream_tcp.memory");
  EXPECT_EQ(pair(81), "pkt_drop_percent>stats.pkt_drop_percent");
  EXPECT_EQ(pair(120), "total_alerts_per_second>stats.total_alerts_per_second");
  // Two older columns feed one current column: both pairs point at the same entry.
  EXPECT_EQ(trelk_2_to_trelk_3[35].second, trelk_2_to_trelk_3[44].second);
}

}  // namespace
}  // namespace perflib
