// SPDX-License-Identifier: Apache-2.0
// The derived columns of the current layout: the rates, ratios and percentages that the older
// engine reported and the current one leaves to be computed from its counters.
#include <memory>

#include "builtin_tables.h"

namespace perflib {

std::vector<CalcPlan> make_calc_plans() {
  // A column reference; time is the length of the interval being reported.
  auto c = [](const char* name) { return ex(std::string(name)); };
  ExpressionPtr time = std::make_shared<TimeExpression>();
  ExpressionPtr total_bytes =
      ex(c("stream_tcp.rebuilt_bytes") + c("stream_ip.reassembled_bytes")) + c("daq.rx_bytes");
  ExpressionPtr total_packets =
      ex(c("stream_tcp.rebuilt_packets") + c("stream_ip.reassembled")) + c("daq.received");
  auto mbits = [&](ExpressionPtr bytes) { return ex(ex(bytes * ex(8)) / ex(1000000)) / time; };
  auto kpackets = [&](ExpressionPtr packets) { return ex(packets / ex(1000)) / time; };
  auto per_second = [&](const char* name) { return c(name) / time; };

  std::vector<CalcPlan> plans;
  plans.reserve(41);
  plans.emplace_back("pkt_drop_percent",
                     ex(c("daq.dropped") / ex(c("daq.dropped") + c("daq.received"))) * ex(100));
  plans.emplace_back("wire_mbits_per_sec.realtime", mbits(c("daq.rx_bytes")));
  plans.emplace_back("alerts_per_second", per_second("detection.alerts"));
  plans.emplace_back("kpackets_wire_per_sec.realtime", kpackets(c("daq.rx_bytes")));
  plans.emplace_back("avg_bytes_per_wire_packet", c("daq.rx_bytes") / c("daq.received"));
  plans.emplace_back("patmatch_percent",
                     ex(c("search_engine.searched_bytes") / c("daq.rx_bytes")) * ex(100));
  plans.emplace_back("syns_per_second", per_second("stream_tcp.syns"));
  plans.emplace_back("synacks_per_second", per_second("stream_tcp.syn_acks"));
  plans.emplace_back("new_sessions_per_second", per_second("stream_tcp.created"));
  plans.emplace_back("deleted_sessions_per_second", per_second("stream_tcp.released"));
  plans.emplace_back("max_sessions");
  plans.emplace_back("stream_flushes_per_second", per_second("stream_tcp.rebuilt_packets"));
  plans.emplace_back("stream_faults", per_second("stream.tcp_memcap_prunes"));
  plans.emplace_back("frag_creates_per_second", per_second("stream_ip.created"));
  plans.emplace_back("frag_completes_per_second", per_second("stream_ip.trackers_completed"));
  plans.emplace_back("frag_inserts_per_second", per_second("stream_ip.nodes_inserted"));
  plans.emplace_back("frag_deletes_per_second", per_second("stream_ip.nodes_deleted"));
  plans.emplace_back("frag_autofrees_per_second", per_second("stream.ip_preemptive_prunes"));
  plans.emplace_back("ipfrag_mbits_per_sec.realtime", mbits(c("stream_ip.fragmented_bytes")));
  plans.emplace_back("ipreass_mbits_per_sec.realtime", mbits(c("stream_ip.reassembled_bytes")));
  plans.emplace_back("rebuilt_mbits_per_sec.realtime", mbits(c("stream_tcp.rebuilt_bytes")));
  plans.emplace_back("mbits_per_sec.realtime", mbits(total_bytes));
  plans.emplace_back("avg_bytes_per_ipfrag_packet",
                     c("stream_ip.fragmented_bytes") / c("stream_ip.total_frags"));
  plans.emplace_back("avg_bytes_per_ipreass_packet",
                     c("stream_ip.reassembled_bytes") / c("stream_ip.reassembled"));
  plans.emplace_back("avg_bytes_per_rebuilt_packet",
                     c("stream_tcp.rebuilt_bytes") / c("stream_tcp.rebuilt_packets"));
  plans.emplace_back("avg_bytes_per_packet", total_bytes / total_packets);
  plans.emplace_back("kpackets_ipfrag_per_sec.realtime", kpackets(c("stream_ip.total_frags")));
  plans.emplace_back("kpackets_ipreass_per_sec.realtime", kpackets(c("stream_ip.reassembled")));
  plans.emplace_back("kpackets_rebuilt_per_sec.realtime",
                     kpackets(c("stream_tcp.rebuilt_packets")));
  plans.emplace_back("kpackets_per_sec.realtime", kpackets(total_packets));
  plans.emplace_back("new_udp_sessions_per_second", per_second("stream_udp.created"));
  plans.emplace_back("deleted_udp_sessions_per_second", per_second("stream_udp.released"));
  plans.emplace_back("tcp_sessions_midstream_per_second", per_second("stream_tcp.data_trackers"));
  plans.emplace_back("tcp_sessions_closed_per_second", per_second("stream_tcp.released"));
  plans.emplace_back("tcp_sessions_timedout_per_second", per_second("stream_tcp.timeouts"));
  plans.emplace_back("tcp_sessions_pruned_per_second", per_second("stream_tcp.prunes"));
  plans.emplace_back("tcp_sessions_dropped_async_per_second");
  plans.emplace_back("mpls_mbits_per_sec.realtime", mbits(c("mpls.total_bytes")));
  plans.emplace_back("avg_bytes_per_mpls_packet", c("mpls.total_bytes") / c("mpls.total_packets"));
  plans.emplace_back("kpackets_per_sec_mpls.realtime", kpackets(c("mpls.total_packets")));
  plans.emplace_back("total_alerts_per_second", per_second("detection.total_alerts"));
  return plans;
}

}  // namespace perflib
