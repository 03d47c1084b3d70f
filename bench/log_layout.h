// SPDX-License-Identifier: Apache-2.0
// The columns of the benchmark logs and how their values are made, shared by the log generator
// and the micro-benchmarks.
//
// Values come from a fixed-seed splitmix64 generator and integer arithmetic only (no floating
// point, no library distributions), so every machine makes the same bytes. They follow a daily
// load curve with noise: packet counters in the millions per 10 s row, most normaliser counters 0,
// memory gauges up to 10^9, per-thread processor times in microseconds.
#ifndef VEXIL_BENCH_LOG_LAYOUT_H
#define VEXIL_BENCH_LOG_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace bench {

inline constexpr std::int64_t START_TIME = 1700000000;  // a Tuesday, 22:13:20 UTC
inline constexpr std::int64_t INTERVAL = 10;            // seconds between rows
inline constexpr int THREADS = 8;

// How a column's values are made. scale is the typical value (for reals in natural units);
// permille is the share of rows with a non-zero value for K_RARE.
enum Kind : std::uint8_t {
  K_TIME,     // the row's time
  K_COUNT,    // per-interval counter following the load curve
  K_LEVEL,    // gauge: follows the load curve loosely, little noise
  K_RARE,     // zero in most rows, else up to scale
  K_ZERO,     // always 0
  K_CONST,    // always scale
  K_RATE,     // real, per second, following the load curve (3 decimals)
  K_PERCENT,  // real, 0 to 100 around scale (3 decimals)
  K_AVERAGE,  // real, around scale with little noise (3 decimals)
  K_CPUS,     // per-processor triplets of the older layout (usr, sys, idle)
};

struct Column {
  const char* name;
  Kind kind;
  std::uint64_t scale;
  unsigned permille;
};

// The current layout: the engine's fixed columns in the order of the built-in table (each name
// once), then per-thread processor times, then counters of modules no table knows.
inline constexpr Column current_columns[] = {
    {"timestamp", K_TIME, 0, 0},
    {"stream_tcp.sessions", K_LEVEL, 120000, 0},
    {"stream_tcp.timeouts", K_COUNT, 2500, 0},
    {"stream_ip.current_frags", K_LEVEL, 40, 0},
    {"stream_ip.max_frags", K_LEVEL, 180, 0},
    {"stream_ip.frag_timeouts", K_RARE, 12, 80},
    {"stream_ip.prunes", K_RARE, 5, 20},
    {"daq.received", K_COUNT, 4500000, 0},
    {"daq.dropped", K_RARE, 2000, 150},
    {"daq.block", K_COUNT, 9000, 0},
    {"stream_udp.sessions", K_LEVEL, 30000, 0},
    {"stream_udp.max", K_LEVEL, 36000, 0},
    {"stream_tcp.max", K_LEVEL, 140000, 0},
    {"stream_tcp.initializing", K_LEVEL, 1200, 0},
    {"stream_tcp.established", K_LEVEL, 95000, 0},
    {"stream_tcp.closing", K_LEVEL, 6000, 0},
    {"trelk.attribute_table_hosts", K_CONST, 4096, 0},
    {"trelk.attribute_table_reloads", K_RARE, 1, 1},
    {"stream_tcp.ignored", K_COUNT, 60000, 0},
    {"stream_udp.ignored", K_COUNT, 25000, 0},
    {"normalizer.ip4_trim", K_RARE, 40, 30},
    {"normalizer.ip4_tos", K_ZERO, 0, 0},
    {"normalizer.ip4_df", K_COUNT, 3000, 0},
    {"normalizer.ip4_rf", K_ZERO, 0, 0},
    {"normalizer.ip4_ttl", K_COUNT, 12000, 0},
    {"normalizer.ip4_opts", K_RARE, 30, 50},
    {"normalizer.icmp4_echo", K_RARE, 20, 100},
    {"normalizer.ip6_hops", K_COUNT, 800, 0},
    {"normalizer.ip6_options", K_ZERO, 0, 0},
    {"normalizer.icmp6_echo", K_RARE, 10, 40},
    {"normalizer.tcp_syn_options", K_COUNT, 1500, 0},
    {"normalizer.tcp_options", K_COUNT, 25000, 0},
    {"normalizer.tcp_padding", K_RARE, 100, 200},
    {"normalizer.tcp_reserved", K_ZERO, 0, 0},
    {"normalizer.tcp_nonce", K_ZERO, 0, 0},
    {"normalizer.tcp_req_urp", K_ZERO, 0, 0},
    {"normalizer.tcp_ecn_pkt", K_RARE, 50, 60},
    {"normalizer.tcp_ecn_session", K_ZERO, 0, 0},
    {"normalizer.tcp_ts_ecr", K_COUNT, 400, 0},
    {"normalizer.tcp_ts_nop", K_COUNT, 7000, 0},
    {"normalizer.tcp_ips_data", K_ZERO, 0, 0},
    {"normalizer.tcp_block", K_RARE, 300, 100},
    {"normalizer.tcp_req_urg", K_ZERO, 0, 0},
    {"normalizer.tcp_req_pay", K_ZERO, 0, 0},
    {"normalizer.tcp_trim_syn", K_ZERO, 0, 0},
    {"normalizer.tcp_trim_rst", K_RARE, 15, 30},
    {"normalizer.tcp_trim_win", K_ZERO, 0, 0},
    {"normalizer.tcp_trim_mss", K_ZERO, 0, 0},
    {"normalizer.test_ip4_trim", K_ZERO, 0, 0},
    {"normalizer.test_ip4_tos", K_ZERO, 0, 0},
    {"normalizer.test_ip4_df", K_ZERO, 0, 0},
    {"normalizer.test_ip4_rf", K_ZERO, 0, 0},
    {"normalizer.test_ip4_ttl", K_ZERO, 0, 0},
    {"normalizer.test_ip4_opts", K_ZERO, 0, 0},
    {"normalizer.test_icmp4_echo", K_ZERO, 0, 0},
    {"normalizer.test_ip6_hops", K_ZERO, 0, 0},
    {"normalizer.test_ip6_options", K_ZERO, 0, 0},
    {"normalizer.test_icmp6_echo", K_ZERO, 0, 0},
    {"normalizer.test_tcp_syn_options", K_ZERO, 0, 0},
    {"normalizer.test_tcp_options", K_ZERO, 0, 0},
    {"normalizer.test_tcp_padding", K_ZERO, 0, 0},
    {"normalizer.test_tcp_reserved", K_ZERO, 0, 0},
    {"normalizer.test_tcp_nonce", K_ZERO, 0, 0},
    {"normalizer.test_tcp_req_urp", K_ZERO, 0, 0},
    {"normalizer.test_tcp_ecn_pkt", K_ZERO, 0, 0},
    {"normalizer.test_tcp_ecn_session", K_ZERO, 0, 0},
    {"normalizer.test_tcp_ts_ecr", K_ZERO, 0, 0},
    {"normalizer.test_tcp_ts_nop", K_ZERO, 0, 0},
    {"normalizer.test_tcp_ips_data", K_ZERO, 0, 0},
    {"normalizer.test_tcp_block", K_ZERO, 0, 0},
    {"normalizer.test_tcp_req_urg", K_ZERO, 0, 0},
    {"normalizer.test_tcp_req_pay", K_ZERO, 0, 0},
    {"normalizer.test_tcp_trim_syn", K_ZERO, 0, 0},
    {"normalizer.test_tcp_trim_rst", K_ZERO, 0, 0},
    {"normalizer.test_tcp_trim_win", K_ZERO, 0, 0},
    {"normalizer.test_tcp_trim_mss", K_ZERO, 0, 0},
    {"daq.injected", K_RARE, 80, 100},
    {"stream_ip.memory_used", K_LEVEL, 24000000, 0},
    {"stream_tcp.memory", K_LEVEL, 850000000, 0},
};

// Counters of modules the built-in tables do not know; they merge as plain sums.
inline constexpr Column module_columns[] = {
    {"decode.ipv4", K_COUNT, 3900000, 0},
    {"decode.ipv6", K_COUNT, 520000, 0},
    {"decode.tcp", K_COUNT, 3300000, 0},
    {"decode.udp", K_COUNT, 1000000, 0},
    {"decode.icmp4", K_COUNT, 9000, 0},
    {"decode.icmp6", K_COUNT, 2500, 0},
    {"decode.vlan", K_COUNT, 150000, 0},
    {"decode.bad_checksum", K_RARE, 400, 300},
    {"flow.created", K_COUNT, 45000, 0},
    {"flow.expired", K_COUNT, 43000, 0},
    {"flow.reused", K_COUNT, 800, 0},
    {"flow.memcap_prunes", K_ZERO, 0, 0},
    {"http.requests", K_COUNT, 38000, 0},
    {"http.responses", K_COUNT, 37000, 0},
    {"http.request_bytes", K_COUNT, 21000000, 0},
    {"http.response_bytes", K_COUNT, 310000000, 0},
    {"dns.queries", K_COUNT, 16000, 0},
    {"dns.responses", K_COUNT, 15500, 0},
    {"tls.handshakes", K_COUNT, 9500, 0},
    {"tls.bad_records", K_RARE, 20, 50},
    {"matcher.searches", K_COUNT, 2600000, 0},
    {"matcher.hits", K_COUNT, 140000, 0},
    {"rules.evaluated", K_COUNT, 1800000, 0},
    {"rules.matched", K_COUNT, 900, 0},
    {"alerts.logged", K_COUNT, 120, 0},
    {"alerts.suppressed", K_RARE, 30, 200},
    {"events.queued", K_COUNT, 150, 0},
    {"events.overflows", K_ZERO, 0, 0},
    {"reputation.blocked", K_COUNT, 350, 0},
    {"reputation.allowed", K_COUNT, 2200, 0},
    {"files.inspected", K_COUNT, 600, 0},
    {"files.bytes", K_COUNT, 48000000, 0},
};

// The older layout, in its file's column order. A name repeated in the header is written as the
// engine wrote it (the reader tells the second one apart); K_CPUS stands for per-processor usr,
// sys and idle columns.
inline constexpr Column old_columns[] = {
    {"time", K_TIME, 0, 0},
    {"pkt_drop_percent", K_PERCENT, 0, 0},
    {"wire_mbits_per_sec.realtime", K_RATE, 3200, 0},
    {"alerts_per_second", K_RATE, 12, 0},
    {"kpackets_wire_per_sec.realtime", K_RATE, 450, 0},
    {"avg_bytes_per_wire_packet", K_AVERAGE, 880, 0},
    {"patmatch_percent", K_PERCENT, 6, 0},
    {"syns_per_second", K_RATE, 5200, 0},
    {"synacks_per_second", K_RATE, 4900, 0},
    {"new_sessions_per_second", K_RATE, 4500, 0},
    {"deleted_sessions_per_second", K_RATE, 4400, 0},
    {"total_sessions", K_LEVEL, 120000, 0},
    {"max_sessions", K_LEVEL, 140000, 0},
    {"stream_flushes_per_second", K_RATE, 9000, 0},
    {"stream_faults", K_RATE, 0, 0},
    {"stream_timeouts", K_COUNT, 2500, 0},
    {"frag_creates_per_second", K_RATE, 40, 0},
    {"frag_completes_per_second", K_RATE, 39, 0},
    {"frag_inserts_per_second", K_RATE, 85, 0},
    {"frag_deletes_per_second", K_RATE, 39, 0},
    {"frag_autofrees_per_second", K_RATE, 0, 0},
    {"frag_flushes_per_second", K_RATE, 1, 0},
    {"current_frags", K_LEVEL, 40, 0},
    {"max_frags", K_LEVEL, 180, 0},
    {"frag_timeouts", K_RARE, 12, 80},
    {"frag_faults", K_RARE, 5, 20},
    {"iCPUs", K_CONST, THREADS, 0},
    {"usr[*]", K_CPUS, 0, 0},
    {"wire_mbits_per_sec.realtime", K_RATE, 3200, 0},
    {"ipfrag_mbits_per_sec.realtime", K_RATE, 2, 0},
    {"ipreass_mbits_per_sec.realtime", K_RATE, 1, 0},
    {"rebuilt_mbits_per_sec.realtime", K_RATE, 900, 0},
    {"mbits_per_sec.realtime", K_RATE, 2100, 0},
    {"avg_bytes_per_wire_packet", K_AVERAGE, 880, 0},
    {"avg_bytes_per_ipfrag_packet", K_AVERAGE, 1100, 0},
    {"avg_bytes_per_ipreass_packet", K_AVERAGE, 2900, 0},
    {"avg_bytes_per_rebuilt_packet", K_AVERAGE, 4200, 0},
    {"avg_bytes_per_packet", K_AVERAGE, 640, 0},
    {"kpackets_wire_per_sec.realtime", K_RATE, 450, 0},
    {"kpackets_ipfrag_per_sec.realtime", K_RATE, 0, 0},
    {"kpackets_ipreass_per_sec.realtime", K_RATE, 0, 0},
    {"kpackets_rebuilt_per_sec.realtime", K_RATE, 30, 0},
    {"kpackets_per_sec.realtime", K_RATE, 410, 0},
    {"pkt_stats.pkts_recv", K_COUNT, 4500000, 0},
    {"pkt_stats.pkts_drop", K_RARE, 2000, 150},
    {"total_blocked_verdicts", K_COUNT, 9000, 0},
    {"new_udp_sessions_per_second", K_RATE, 1600, 0},
    {"deleted_udp_sessions_per_second", K_RATE, 1550, 0},
    {"total_udp_sessions", K_LEVEL, 30000, 0},
    {"max_udp_sessions", K_LEVEL, 36000, 0},
    {"max_tcp_sessions_interval", K_LEVEL, 125000, 0},
    {"curr_tcp_sessions_initializing", K_LEVEL, 1200, 0},
    {"curr_tcp_sessions_established", K_LEVEL, 95000, 0},
    {"curr_tcp_sessions_closing", K_LEVEL, 6000, 0},
    {"tcp_sessions_midstream_per_second", K_RATE, 60, 0},
    {"tcp_sessions_closed_per_second", K_RATE, 4100, 0},
    {"tcp_sessions_timedout_per_second", K_RATE, 250, 0},
    {"tcp_sessions_pruned_per_second", K_RATE, 0, 0},
    {"tcp_sessions_dropped_async_per_second", K_RATE, 0, 0},
    {"current_attribute_hosts", K_CONST, 4096, 0},
    {"attribute_table_reloads", K_RARE, 1, 1},
    {"avg_bytes_per_mpls_packet", K_AVERAGE, 0, 0},
    {"kpackets_per_sec_mpls.realtime", K_RATE, 0, 0},
    {"total_tcp_filtered_packets", K_COUNT, 60000, 0},
    {"total_udp_filtered_packets", K_COUNT, 25000, 0},
    {"num_normalizations", K_CONST, 58, 0},
    {"ip4::trim", K_RARE, 40, 30},
    {"ip4::tos", K_ZERO, 0, 0},
    {"ip4::df", K_COUNT, 3000, 0},
    {"ip4::rf", K_ZERO, 0, 0},
    {"ip4::ttl", K_COUNT, 12000, 0},
    {"ip4::opts", K_RARE, 30, 50},
    {"icmp4::echo", K_RARE, 20, 100},
    {"ip6::ttl", K_COUNT, 800, 0},
    {"ip6::opts", K_ZERO, 0, 0},
    {"icmp6::echo", K_RARE, 10, 40},
    {"tcp::syn_opt", K_COUNT, 1500, 0},
    {"tcp::opt", K_COUNT, 25000, 0},
    {"tcp::pad", K_RARE, 100, 200},
    {"tcp::rsv", K_ZERO, 0, 0},
    {"tcp::ns", K_ZERO, 0, 0},
    {"tcp::urp", K_ZERO, 0, 0},
    {"tcp::ecn_pkt", K_RARE, 50, 60},
    {"tcp::ecn_ssn", K_ZERO, 0, 0},
    {"tcp::ts_ecr", K_COUNT, 400, 0},
    {"tcp::ts_nop", K_COUNT, 7000, 0},
    {"tcp::ips_data", K_ZERO, 0, 0},
    {"tcp::block", K_RARE, 300, 100},
    {"tcp::req_urg", K_ZERO, 0, 0},
    {"tcp::req_pay", K_ZERO, 0, 0},
    {"tcp::req_urp", K_ZERO, 0, 0},
    {"tcp::trim_syn", K_ZERO, 0, 0},
    {"tcp::trim_rst", K_RARE, 15, 30},
    {"tcp::trim_win", K_ZERO, 0, 0},
    {"tcp::trim_mss", K_ZERO, 0, 0},
    {"would_ip4::trim", K_ZERO, 0, 0},
    {"would_ip4::tos", K_ZERO, 0, 0},
    {"would_ip4::df", K_ZERO, 0, 0},
    {"would_ip4::rf", K_ZERO, 0, 0},
    {"would_ip4::ttl", K_ZERO, 0, 0},
    {"would_ip4::opts", K_ZERO, 0, 0},
    {"would_icmp4::echo", K_ZERO, 0, 0},
    {"would_ip6::ttl", K_ZERO, 0, 0},
    {"would_ip6::opts", K_ZERO, 0, 0},
    {"would_icmp6::echo", K_ZERO, 0, 0},
    {"would_tcp::syn_opt", K_ZERO, 0, 0},
    {"would_tcp::opt", K_ZERO, 0, 0},
    {"would_tcp::pad", K_ZERO, 0, 0},
    {"would_tcp::rsv", K_ZERO, 0, 0},
    {"would_tcp::ns", K_ZERO, 0, 0},
    {"would_tcp::urp", K_ZERO, 0, 0},
    {"would_tcp::ecn_pkt", K_ZERO, 0, 0},
    {"would_tcp::ecn_ssn", K_ZERO, 0, 0},
    {"would_tcp::ts_ecr", K_ZERO, 0, 0},
    {"would_tcp::ts_nop", K_ZERO, 0, 0},
    {"would_tcp::ips_data", K_ZERO, 0, 0},
    {"would_tcp::block", K_ZERO, 0, 0},
    {"would_tcp::req_urg", K_ZERO, 0, 0},
    {"would_tcp::req_pay", K_ZERO, 0, 0},
    {"would_tcp::req_urp", K_ZERO, 0, 0},
    {"would_tcp::trim_syn", K_ZERO, 0, 0},
    {"would_tcp::trim_rst", K_ZERO, 0, 0},
    {"would_tcp::trim_win", K_ZERO, 0, 0},
    {"would_tcp::trim_mss", K_ZERO, 0, 0},
    {"total_injected_packets", K_RARE, 80, 100},
    {"frag3_mem_in_use", K_LEVEL, 24000000, 0},
    {"stream5_mem_in_use", K_LEVEL, 850000000, 0},
    {"total_alerts_per_second", K_RATE, 12, 0},
};

struct Rng {
  std::uint64_t state;
  std::uint64_t next() {
    std::uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
  // Uniform enough in [0, n) for benchmark data; n > 0.
  std::uint64_t below(std::uint64_t n) { return next() % n; }
};

// Load in thousandths (300 to 1000): a daily triangle, peaking at a different hour per instance.
inline std::uint64_t load_at(std::int64_t t, int instance) {
  std::int64_t phase = (t + instance * 3137) % 86400;
  std::int64_t tri = phase < 43200 ? phase * 1000 / 43200 : (86400 - phase) * 1000 / 43200;
  return static_cast<std::uint64_t>(300 + tri * 7 / 10);
}

// One instance's values for one row.
class RowMaker {
 public:
  RowMaker(std::uint64_t seed, int instance)
      : rng{seed ^ (0xA24BAED4963EE407ULL * static_cast<std::uint64_t>(instance + 1))},
        instance(instance),
        size_permille(800 + rng.below(400)) {}

  void begin_row(std::int64_t t) {
    time = t;
    load = load_at(t, instance);
  }

  std::uint64_t integer(const Column& c) {
    switch (c.kind) {
      case K_TIME:
        return static_cast<std::uint64_t>(time);
      case K_COUNT:
        return noisy(sized(c.scale) * load / 1000, 150);
      case K_LEVEL:
        return noisy(sized(c.scale) * (500 + load / 2) / 1000, 30);
      case K_RARE:
        return rng.below(1000) < c.permille ? 1 + rng.below(c.scale) : 0;
      case K_CONST:
        return c.scale;
      default:
        return 0;
    }
  }

  // A real in thousandths.
  std::uint64_t real(const Column& c) {
    switch (c.kind) {
      case K_RATE:
        return noisy(sized(c.scale) * load, 150);
      case K_PERCENT:
        return c.scale ? noisy(c.scale * 1000, 300) : rng.below(40);
      case K_AVERAGE:
        return noisy(c.scale * 1000, 50);
      default:
        return 0;
    }
  }

  // Processor times of one thread over one interval, in microseconds.
  void cpu(std::uint64_t& user, std::uint64_t& system, std::uint64_t& wall) {
    wall = INTERVAL * 1000000 - 10000 + rng.below(20000);
    user = noisy(wall * load * 3 / 4000, 100);
    system = noisy(user / 7, 200);
  }

 private:
  std::uint64_t sized(std::uint64_t scale) const { return scale * size_permille / 1000; }
  // v varied by up to +-spread thousandths.
  std::uint64_t noisy(std::uint64_t v, unsigned spread) {
    return v * (1000 - spread + rng.below(2 * spread + 1)) / 1000;
  }

  Rng rng;
  int instance;
  std::uint64_t size_permille;  // this instance's traffic relative to the typical one
  std::int64_t time = 0;
  std::uint64_t load = 0;
};

inline bool is_real(Kind k) {
  return k == K_RATE || k == K_PERCENT || k == K_AVERAGE;
}

// Writers: Out has text(string_view), ch(char), number(uint64) and milli(uint64 thousandths).

template <class Out>
void current_header(Out& w) {
  w.ch('#');
  for (const Column& c : current_columns) {
    w.text(c.name);
    w.ch(',');
  }
  for (int k = 0; k < THREADS; ++k) {
    for (const char* what : {".cpu_user", ".cpu_system", ".cpu_wall"}) {
      w.text("thread_");
      w.number(static_cast<std::uint64_t>(k));
      w.text(what);
      w.ch(',');
    }
  }
  for (std::size_t i = 0; i < std::size(module_columns); ++i) {
    w.text(module_columns[i].name);
    w.ch(i + 1 < std::size(module_columns) ? ',' : '\n');
  }
}

template <class Out>
void current_row(Out& w, RowMaker& maker, std::int64_t t) {
  maker.begin_row(t);
  for (const Column& c : current_columns) {
    w.number(maker.integer(c));
    w.ch(',');
  }
  for (int k = 0; k < THREADS; ++k) {
    std::uint64_t user, system, wall;
    maker.cpu(user, system, wall);
    w.number(user);
    w.ch(',');
    w.number(system);
    w.ch(',');
    w.number(wall);
    w.ch(',');
  }
  for (std::size_t i = 0; i < std::size(module_columns); ++i) {
    w.number(maker.integer(module_columns[i]));
    w.ch(i + 1 < std::size(module_columns) ? ',' : '\n');
  }
}

template <class Out>
void old_header(Out& w) {
  const std::size_t n = std::size(old_columns);
  w.ch('#');
  for (std::size_t i = 0; i < n; ++i) {
    if (old_columns[i].kind == K_CPUS) {
      for (int k = 0; k < THREADS; ++k) {
        for (const char* what : {"usr[", "sys[", "idle["}) {
          w.text(what);
          w.number(static_cast<std::uint64_t>(k));
          w.text("],");
        }
      }
      continue;
    }
    w.text(old_columns[i].name);
    w.ch(i + 1 < n ? ',' : '\n');
  }
}

template <class Out>
void old_row(Out& w, RowMaker& maker, std::int64_t t) {
  const std::size_t n = std::size(old_columns);
  maker.begin_row(t);
  for (std::size_t i = 0; i < n; ++i) {
    const Column& c = old_columns[i];
    if (c.kind == K_CPUS) {
      for (int k = 0; k < THREADS; ++k) {
        std::uint64_t user, system, wall;
        maker.cpu(user, system, wall);
        w.milli(user * 100000 / wall);
        w.ch(',');
        w.milli(system * 100000 / wall);
        w.ch(',');
        w.milli((wall - user - system) * 100000 / wall);
        w.ch(',');
      }
      continue;
    }
    if (is_real(c.kind)) {
      w.milli(maker.real(c));
    } else {
      w.number(maker.integer(c));
    }
    w.ch(i + 1 < n ? ',' : '\n');
  }
}

}  // namespace bench

#endif
