// SPDX-License-Identifier: Apache-2.0
// The column table of the current engine's files. A row with a source column of the older layout
// takes its label and kind from that row of trelk_2_fields, and the pair (source, row) forms the
// transform trelk_2_to_trelk_3, in the order of these rows.
//
// deliberate: "normalizer.ip6_hops" comes from "ip6::ttl", and "normalizer.tcp_req_urp" is listed
// twice (sources "tcp::urp" and "tcp::req_urp"): the map keeps the first row and both pairs point
// at it; likewise "normalizer.test_tcp_req_urp".
#include "builtin_tables.h"

namespace perflib {

// clang-format off
const Trelk3Row trelk_3_rows[TRELK_3_ROW_COUNT] = {
  {"timestamp", "Time", PT_TIME, "time"},
  {"stream_tcp.sessions", "Active", PT_NOW, "total_sessions"},
  {"stream_tcp.timeouts", "Stream Cache Timeouts", PT_SUM, "stream_timeouts"},
  {"stream_ip.current_frags", "Current Frags", PT_NOW, "current_frags"},
  {"stream_ip.max_frags", "Max Frags", PT_MAX, "max_frags"},
  {"stream_ip.frag_timeouts", "Frag-Timeouts", PT_SUM, "frag_timeouts"},
  {"stream_ip.prunes", "Frag-Faults", PT_SUM, "frag_faults"},
  {"thread_*.cpu_user", nullptr, PT_SUM, nullptr},
  {"thread_*.cpu_system", nullptr, PT_SUM, nullptr},
  {"thread_*.cpu_wall", nullptr, PT_SUM, nullptr},
  {"stats.usr[*]", "CPU * Usr %", PT_PERCENT, nullptr},
  {"stats.sys[*]", "CPU * Sys %", PT_PERCENT, nullptr},
  {"stats.idle[*]", "CPU * Idle %", PT_PERCENT, nullptr},
  {"daq.received", "Pkts Recv", PT_SUM, "pkt_stats.pkts_recv"},
  {"daq.dropped", "Pkts Drop", PT_SUM, "pkt_stats.pkts_drop"},
  {"daq.block", "Block Verdicts", PT_SUM, "total_blocked_verdicts"},
  {"stream_udp.sessions", "UDP Sessions Active", PT_NOW, "total_udp_sessions"},
  {"stream_udp.max", "Max UDP Sessions Active", PT_MAX, "max_udp_sessions"},
  {"stream_tcp.max", "Max Sessions (interval)", PT_MAX, "max_tcp_sessions_interval"},
  {"stream_tcp.initializing", "Sessions Initializing", PT_NOW, "curr_tcp_sessions_initializing"},
  {"stream_tcp.established", "Sessions Established", PT_NOW, "curr_tcp_sessions_established"},
  {"stream_tcp.closing", "Sessions Closing", PT_NOW, "curr_tcp_sessions_closing"},
  {"trelk.attribute_table_hosts", "Attribute Table Hosts", PT_NOW, "current_attribute_hosts"},
  {"trelk.attribute_table_reloads", "Attribute Table Reloads", PT_SUM, "attribute_table_reloads"},
  {"stream_tcp.ignored", "Total filtered TCP packets", PT_SUM, "total_tcp_filtered_packets"},
  {"stream_udp.ignored", "Total filtered UDP packets", PT_SUM, "total_udp_filtered_packets"},
  {"normalizer.ip4_trim", "Norm ip4::trim", PT_SUM, "ip4::trim"},
  {"normalizer.ip4_tos", "Norm ip4::tos", PT_SUM, "ip4::tos"},
  {"normalizer.ip4_df", "Norm ip4::df", PT_SUM, "ip4::df"},
  {"normalizer.ip4_rf", "Norm ip4::rf", PT_SUM, "ip4::rf"},
  {"normalizer.ip4_ttl", "Norm ip4::ttl", PT_SUM, "ip4::ttl"},
  {"normalizer.ip4_opts", "Norm ip4::opts", PT_SUM, "ip4::opts"},
  {"normalizer.icmp4_echo", "Norm icmp4::echo", PT_SUM, "icmp4::echo"},
  {"normalizer.ip6_hops", "Norm ip6::ttl", PT_SUM, "ip6::ttl"},
  {"normalizer.ip6_options", "Norm ip6::opts", PT_SUM, "ip6::opts"},
  {"normalizer.icmp6_echo", "Norm icmp6::echo", PT_SUM, "icmp6::echo"},
  {"normalizer.tcp_syn_options", "Norm tcp::syn_opt", PT_SUM, "tcp::syn_opt"},
  {"normalizer.tcp_options", "Norm tcp::opt", PT_SUM, "tcp::opt"},
  {"normalizer.tcp_padding", "Norm tcp::pad", PT_SUM, "tcp::pad"},
  {"normalizer.tcp_reserved", "Norm tcp::rsv", PT_SUM, "tcp::rsv"},
  {"normalizer.tcp_nonce", "Norm tcp::ns", PT_SUM, "tcp::ns"},
  {"normalizer.tcp_req_urp", "Norm tcp::urp", PT_SUM, "tcp::urp"},
  {"normalizer.tcp_ecn_pkt", "Norm tcp::ecn_pkt", PT_SUM, "tcp::ecn_pkt"},
  {"normalizer.tcp_ecn_session", "Norm tcp::ecn_ssn", PT_SUM, "tcp::ecn_ssn"},
  {"normalizer.tcp_ts_ecr", "Norm tcp::ts_ecr", PT_SUM, "tcp::ts_ecr"},
  {"normalizer.tcp_ts_nop", "Norm tcp::ts_nop", PT_SUM, "tcp::ts_nop"},
  {"normalizer.tcp_ips_data", "Norm tcp::ips_data", PT_SUM, "tcp::ips_data"},
  {"normalizer.tcp_block", "Norm tcp::block", PT_SUM, "tcp::block"},
  {"normalizer.tcp_req_urg", "Norm tcp::req_urg", PT_SUM, "tcp::req_urg"},
  {"normalizer.tcp_req_pay", "Norm tcp::req_pay", PT_SUM, "tcp::req_pay"},
  {"normalizer.tcp_req_urp", "Norm tcp::req_urp", PT_SUM, "tcp::req_urp"},
  {"normalizer.tcp_trim_syn", "Norm tcp::trim_syn", PT_SUM, "tcp::trim_syn"},
  {"normalizer.tcp_trim_rst", "Norm tcp::trim_rst", PT_SUM, "tcp::trim_rst"},
  {"normalizer.tcp_trim_win", "Norm tcp::trim_win", PT_SUM, "tcp::trim_win"},
  {"normalizer.tcp_trim_mss", "Norm tcp::trim_mss", PT_SUM, "tcp::trim_mss"},
  {"normalizer.test_ip4_trim", "Would Norm ip4::trim", PT_SUM, "would_ip4::trim"},
  {"normalizer.test_ip4_tos", "Would Norm ip4::tos", PT_SUM, "would_ip4::tos"},
  {"normalizer.test_ip4_df", "Would Norm ip4::df", PT_SUM, "would_ip4::df"},
  {"normalizer.test_ip4_rf", "Would Norm ip4::rf", PT_SUM, "would_ip4::rf"},
  {"normalizer.test_ip4_ttl", "Would Norm ip4::ttl", PT_SUM, "would_ip4::ttl"},
  {"normalizer.test_ip4_opts", "Would Norm ip4::opts", PT_SUM, "would_ip4::opts"},
  {"normalizer.test_icmp4_echo", "Would Norm icmp4::echo", PT_SUM, "would_icmp4::echo"},
  {"normalizer.test_ip6_hops", "Would Norm ip6::ttl", PT_SUM, "would_ip6::ttl"},
  {"normalizer.test_ip6_options", "Would Norm ip6::opts", PT_SUM, "would_ip6::opts"},
  {"normalizer.test_icmp6_echo", "Would Norm icmp6::echo", PT_SUM, "would_icmp6::echo"},
  {"normalizer.test_tcp_syn_options", "Would Norm tcp::syn_opt", PT_SUM, "would_tcp::syn_opt"},
  {"normalizer.test_tcp_options", "Would Norm tcp::opt", PT_SUM, "would_tcp::opt"},
  {"normalizer.test_tcp_padding", "Would Norm tcp::pad", PT_SUM, "would_tcp::pad"},
  {"normalizer.test_tcp_reserved", "Would Norm tcp::rsv", PT_SUM, "would_tcp::rsv"},
  {"normalizer.test_tcp_nonce", "Would Norm tcp::ns", PT_SUM, "would_tcp::ns"},
  {"normalizer.test_tcp_req_urp", "Would Norm tcp::urp", PT_SUM, "would_tcp::urp"},
  {"normalizer.test_tcp_ecn_pkt", "Would Norm tcp::ecn_pkt", PT_SUM, "would_tcp::ecn_pkt"},
  {"normalizer.test_tcp_ecn_session", "Would Norm tcp::ecn_ssn", PT_SUM, "would_tcp::ecn_ssn"},
  {"normalizer.test_tcp_ts_ecr", "Would Norm tcp::ts_ecr", PT_SUM, "would_tcp::ts_ecr"},
  {"normalizer.test_tcp_ts_nop", "Would Norm tcp::ts_nop", PT_SUM, "would_tcp::ts_nop"},
  {"normalizer.test_tcp_ips_data", "Would Norm tcp::ips_data", PT_SUM, "would_tcp::ips_data"},
  {"normalizer.test_tcp_block", "Would Norm tcp::block", PT_SUM, "would_tcp::block"},
  {"normalizer.test_tcp_req_urg", "Would Norm tcp::req_urg", PT_SUM, "would_tcp::req_urg"},
  {"normalizer.test_tcp_req_pay", "Would Norm tcp::req_pay", PT_SUM, "would_tcp::req_pay"},
  {"normalizer.test_tcp_req_urp", "Would Norm tcp::req_urp", PT_SUM, "would_tcp::req_urp"},
  {"normalizer.test_tcp_trim_syn", "Would Norm tcp::trim_syn", PT_SUM, "would_tcp::trim_syn"},
  {"normalizer.test_tcp_trim_rst", "Would Norm tcp::trim_rst", PT_SUM, "would_tcp::trim_rst"},
  {"normalizer.test_tcp_trim_win", "Would Norm tcp::trim_win", PT_SUM, "would_tcp::trim_win"},
  {"normalizer.test_tcp_trim_mss", "Would Norm tcp::trim_mss", PT_SUM, "would_tcp::trim_mss"},
  {"daq.injected", "Total Injected Packets", PT_SUM, "total_injected_packets"},
  {"stream_ip.memory_used", "Frag memory (bytes)", PT_NOW, "frag3_mem_in_use"},
  {"stream_tcp.memory", "Stream memory (bytes)", PT_NOW, "stream5_mem_in_use"},
};
// clang-format on

}  // namespace perflib

namespace perflib {

FieldMap make_trelk_3_fields() {
  std::vector<Field> rows;
  rows.reserve(TRELK_3_ROW_COUNT);
  for (const Trelk3Row& row : trelk_3_rows) {
    if (row.source != nullptr) {
      const Field* old = trelk_2_fields.find(row.source);
      rows.emplace_back(row.name, *old->label, old->type);
    } else if (row.label != nullptr) {
      rows.emplace_back(row.name, row.label, row.type);
    } else {
      rows.emplace_back(row.name, row.type);
    }
  }
  return FieldMap(rows.begin(), rows.end());
}

Transform make_trelk_2_to_trelk_3() {
  Transform pairs;
  for (const Trelk3Row& row : trelk_3_rows) {
    if (row.source != nullptr) {
      pairs.emplace_back(trelk_2_fields.find(row.source), trelk_3_fields.find(row.name));
    }
  }
  return pairs;
}

}  // namespace perflib
