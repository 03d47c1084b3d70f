// SPDX-License-Identifier: Apache-2.0
// The fixed-format text reports of the legacy block, printed with printf on standard output.
//
// Each report is a table of lines in print order; a line marked long-form is printed only when
// `compatible` is 1. The two reports deliberately differ in labels, spelling and order (for
// example "MidStream Sessions/Sec" against "Midstream Sessions/sec"); callers compare the text, so
// every byte stays as it is.
#include <cstdint>
#include <cstdio>
#include <initializer_list>

#include "perflib_legacy.h"

extern "C" {
int compatible = 0;  // NOLINT: a global switch read by legacy callers
}

namespace {

using Block = struct _data;  // NOLINT(bugprone-reserved-identifier)
using RealField = double Block::*;
using CountField = std::uint64_t Block::*;

enum Kind : std::uint8_t {
  K_REAL,         // a real
  K_PERCENT,      // a real with a percent sign (printstats only)
  K_DROP_RATE,    // drop_rate, a long double with a percent sign
  K_COUNT,        // a count
  K_FIRST_COUNT,  // a count with a blank after the colon (printstatsex only)
  K_ONE,          // printstatsex: the average's real alone
  K_ONE_BLANK,    // printstatsex: the same with a blank before the newline
};

struct Line {
  const char* label;
  Kind kind;
  RealField real = nullptr;
  CountField count = nullptr;
  bool long_only = false;
};

constexpr Line real(const char* label, RealField f, Kind kind = K_REAL) {
  return Line{label, kind, f, nullptr};
}
constexpr Line count(const char* label, CountField f, Kind kind = K_COUNT) {
  return Line{label, kind, nullptr, f};
}
constexpr Line drop_rate(const char* label) {
  return Line{label, K_DROP_RATE};
}
constexpr Line ext(Line line) {
  line.long_only = true;
  return line;
}

bool long_form() {
  return compatible == 1;
}

// clang-format off
// printstats, up to the processors.
constexpr Line stats_head[] = {
    ext(count("Pkts Recv", &Block::pkts_recv)),
    ext(count("Pkts Drop", &Block::pkts_drop)),
    ext(count("Block Verdicts", &Block::block_verdicts)),
    real("Mbits/Sec", &Block::mbits_per_sec),
    drop_rate("Drop Rate"),
    real("Alerts/Sec", &Block::alerts_per_sec),
    real("Total Alerts/Sec", &Block::total_alerts_per_sec),
    real("K-Pkts/Sec", &Block::kpkts_per_sec),
    real("Avg Bytes/Pkt", &Block::avg_bytes_per_pkt),
    real("Pat-Matched", &Block::pat_matched, K_PERCENT),
    real("Syns/Sec", &Block::syns_per_sec),
    real("SynAcks/Sec", &Block::synacks_per_sec),
    real("New Sessions Cached/Sec", &Block::new_sessions_per_sec),
    ext(real("MidStream Sessions/Sec", &Block::midstream_sessions_per_sec)),
    real("Sessions Del fr Cache/Sec", &Block::deleted_sessions_per_sec),
    ext(real("Closed Sessions/Sec", &Block::closed_sessions_per_sec)),
    ext(real("Timed Out Sessions/Sec", &Block::timed_out_sessions_per_sec)),
    ext(real("Pruned Sessions/Sec", &Block::pruned_sessions_per_sec)),
    ext(real("Dropped Async Sessions/Sec", &Block::dropped_async_sessions_per_sec)),
    real("Active", &Block::active_sessions),
    ext(real("Sessions Initializing", &Block::sessions_initializing)),
    ext(real("Sessions Established", &Block::sessions_established)),
    ext(real("Sessions Closing", &Block::sessions_closing)),
    real("Max Active", &Block::max_active_sessions),
    ext(real("Max Sessions (interval)", &Block::max_sessions_interval)),
    real("Stream Flushes/Sec", &Block::stream_flushes_per_sec),
    real("Stream Cache Faults/Sec", &Block::stream_faults_per_sec),
    real("Stream Cache Timeouts", &Block::stream_timeouts),
    ext(real("New UDP Sessions/Sec", &Block::new_udp_sessions_per_sec)),
    ext(real("UDP Sessions Del/Sec", &Block::deleted_udp_sessions_per_sec)),
    ext(real("UDP Sessions Active", &Block::active_udp_sessions)),
    ext(real("Max UDP Sessions Active", &Block::max_udp_sessions_active)),
    ext(real("Attribute Table Hosts", &Block::attribute_table_hosts)),
    ext(real("Attribute Table Reloads", &Block::attribute_table_reloads)),
    ext(real("Frag-Creates/Sec", &Block::frag_creates_per_sec)),
    real("Frag-Completes/Sec", &Block::frag_completes_per_sec),
    real("Frag-Inserts/Sec", &Block::frag_inserts_per_sec),
    real("Frag-Deletes/Sec", &Block::frag_deletes_per_sec),
    ext(real("Frag-AutoFrees/Sec", &Block::frag_autofrees_per_sec)),
    real("Frag-Flushes/Sec", &Block::frag_flushes_per_sec),
    ext(real("Current Frags", &Block::current_frags)),
    ext(real("Max Frags", &Block::max_frags)),
    real("Frag-Timeouts", &Block::frag_timeouts),
    real("Frag-Faults", &Block::frag_faults),
};

// printstats, after the processors; the normalisation lines follow, also long-form only.
constexpr Line stats_tail[] = {
    ext(real("Mbits/Sec (wire)", &Block::mbits_per_sec_wire)),
    ext(real("Mbits/Sec (mpls)", &Block::mbits_per_sec_mpls)),
    ext(real("Mbits/Sec (ipfrag)", &Block::mbits_per_sec_ipfrag)),
    ext(real("Mbits/Sec (ipreass)", &Block::mbits_per_sec_ipreass)),
    ext(real("Mbits/Sec (tcprebuilt)", &Block::mbits_per_sec_tcprebuilt)),
    ext(real("Mbits/Sec (app layer)", &Block::mbits_per_sec_app_layer)),
    ext(real("Avg Bytes/Pkt (wire)", &Block::avg_bytes_per_pkt_wire)),
    ext(real("Avg Bytes/Pkt (mpls)", &Block::avg_bytes_per_pkt_mpls)),
    ext(real("Avg Bytes/Pkt (ipfrag)", &Block::avg_bytes_per_pkt_ipfrag)),
    ext(real("Avg Bytes/Pkt (ipreass)", &Block::avg_bytes_per_pkt_ipreass)),
    ext(real("Avg Bytes/Pkt (tcprebuilt)", &Block::avg_bytes_per_pkt_tcprebuilt)),
    ext(real("Avg Bytes/Pkt (app layer)", &Block::avg_bytes_per_pkt_app_layer)),
    ext(real("K-Pkts/Sec (wire)", &Block::kpkts_per_sec_wire)),
    ext(real("K-Pkts/Sec (mpls)", &Block::kpkts_per_sec_mpls)),
    ext(real("K-Pkts/Sec (ipfrag)", &Block::kpkts_per_sec_ipfrag)),
    ext(real("K-Pkts/Sec (ipreass)", &Block::kpkts_per_sec_ipreass)),
    ext(real("K-Pkts/Sec (tcprebuilt)", &Block::kpkts_per_sec_tcprebuilt)),
    ext(real("K-Pkts/Sec (app layer)", &Block::kpkts_per_sec_app_layer)),
    ext(count("Total filtered TCP packets", &Block::filtered_tcp_packets)),
    ext(count("Total filtered UDP packets", &Block::filtered_udp_packets)),
    ext(count("Total Injected Packets", &Block::injected_packets)),
    ext(count("Frag memory (bytes)", &Block::frag_memory)),
    ext(count("Stream memory (bytes)", &Block::stream_memory)),
};

// printstatsex, up to the processors. The labels of the first three carry their own blanks.
constexpr Line ex_head[] = {
    ext(count("Pkts Recv   ", &Block::pkts_recv, K_FIRST_COUNT)),
    ext(count("Pkts Drop   ", &Block::pkts_drop, K_FIRST_COUNT)),
    ext(count("Block Verdicts", &Block::block_verdicts, K_FIRST_COUNT)),
    real("Mbits/Sec", &Block::mbits_per_sec),
    drop_rate("Drop Rate"),
    real("Alerts/Sec", &Block::alerts_per_sec),
    real("Total Alerts/Sec", &Block::total_alerts_per_sec),
    real("K-Pkts/Sec", &Block::kpkts_per_sec),
    real("Avg Bytes/Pkt", &Block::avg_bytes_per_pkt),
    real("Pat-Matched", &Block::pat_matched),
    real("Syns/Sec", &Block::syns_per_sec),
    real("SynAcks/Sec", &Block::synacks_per_sec),
    real("New Sessions Cached/Sec", &Block::new_sessions_per_sec),
    ext(real("Midstream Sessions/sec", &Block::midstream_sessions_per_sec)),
    real("Sessions Del fr Cache/Sec", &Block::deleted_sessions_per_sec),
    ext(real("Closed Sessions/sec", &Block::closed_sessions_per_sec)),
    ext(real("TimedOut Sessions/sec", &Block::timed_out_sessions_per_sec)),
    ext(real("Pruned Sessions/sec", &Block::pruned_sessions_per_sec)),
    ext(real("Dropped Async Sessions/sec", &Block::dropped_async_sessions_per_sec)),
    real("Max Cached Sessions", &Block::max_active_sessions, K_ONE),
    real("Current Cached Sessions", &Block::active_sessions, K_ONE),
    ext(real("Current Sessions Initializing", &Block::sessions_initializing, K_ONE)),
    ext(real("Current Sessions Established", &Block::sessions_established, K_ONE)),
    ext(real("Current Sessions Closing", &Block::sessions_closing, K_ONE)),
    real("Max Cached Sessions", &Block::max_active_sessions, K_ONE),  // deliberate: twice
    ext(real("Max Sessions (Interval)", &Block::max_sessions_interval, K_ONE)),
    real("Stream Flushes/Sec", &Block::stream_flushes_per_sec),
    real("Stream Session Cache Faults", &Block::stream_faults_per_sec, K_ONE_BLANK),
    real("Stream Session Cache Timeouts", &Block::stream_timeouts, K_ONE_BLANK),
    ext(real("New UDP Sessions/Sec", &Block::new_udp_sessions_per_sec)),
    ext(real("UDP Sessions Del/Sec", &Block::deleted_udp_sessions_per_sec)),
    ext(real("Current UDP Sessions", &Block::active_udp_sessions, K_ONE)),
    ext(real("Max UDP Sessions", &Block::max_udp_sessions_active, K_ONE)),
    ext(real("Attribute Table Hosts", &Block::attribute_table_hosts)),
    ext(real("Attribute Table Reloads", &Block::attribute_table_reloads, K_ONE)),
    ext(real("Frag-Creates/Sec", &Block::frag_creates_per_sec)),
    real("Frag-Completes/Sec", &Block::frag_completes_per_sec),
    real("Frag-Inserts/Sec", &Block::frag_inserts_per_sec),
    real("Frag-Deletes/Sec", &Block::frag_deletes_per_sec),
    ext(real("Frag-AutoFrees/Sec", &Block::frag_autofrees_per_sec)),
    real("Frag-Flushes/Sec", &Block::frag_flushes_per_sec),
    ext(real("Current Frags", &Block::current_frags, K_ONE)),
    ext(real("Max Frags", &Block::max_frags, K_ONE)),
    real("Frag-Timeouts", &Block::frag_timeouts, K_ONE),
    real("Frag-Faults", &Block::frag_faults, K_ONE),
};

// printstatsex, after the processors and before the normalisation lines.
constexpr Line ex_paths[] = {
    ext(real("Mbits/Sec (wire)", &Block::mbits_per_sec_wire)),
    ext(real("Mbits/Sec (mpls)", &Block::mbits_per_sec_mpls)),
    ext(real("Mbits/Sec (ipfrag)", &Block::mbits_per_sec_ipfrag)),
    ext(real("Mbits/Sec (ipreass)", &Block::mbits_per_sec_ipreass)),
    ext(real("Mbits/Sec (tcprebuilt)", &Block::mbits_per_sec_tcprebuilt)),
    ext(real("Mbits/Sec (applayer)", &Block::mbits_per_sec_app_layer)),
    ext(real("Avg Bytes/Pkt (wire)", &Block::avg_bytes_per_pkt_wire)),
    ext(real("Avg Bytes/Pkt (mpls)", &Block::avg_bytes_per_pkt_mpls)),
    ext(real("Avg Bytes/Pkt (ipfrag)", &Block::avg_bytes_per_pkt_ipfrag)),
    ext(real("Avg Bytes/Pkt (ipreass)", &Block::avg_bytes_per_pkt_ipreass)),
    ext(real("Avg Bytes/Pkt (tcprebuilt)", &Block::avg_bytes_per_pkt_tcprebuilt)),
    ext(real("Avg Bytes/Pkt (applayer)", &Block::avg_bytes_per_pkt_app_layer)),
    ext(real("K-Pkts/Sec (wire)", &Block::kpkts_per_sec_wire)),
    ext(real("K-Pkts/Sec (mpls)", &Block::kpkts_per_sec_mpls)),
    ext(real("K-Pkts/Sec (ipfrag)", &Block::kpkts_per_sec_ipfrag)),
    ext(real("K-Pkts/Sec (ipreass)", &Block::kpkts_per_sec_ipreass)),
    ext(real("K-Pkts/Sec (tcprebuilt)", &Block::kpkts_per_sec_tcprebuilt)),
    ext(real("K-Pkts/Sec (applayer)", &Block::kpkts_per_sec_app_layer)),
    ext(count("Total filtered TCP packets", &Block::filtered_tcp_packets)),
    ext(count("Total filtered UDP packets", &Block::filtered_udp_packets)),
};

// printstatsex, after the normalisation lines.
constexpr Line ex_tail[] = {
    ext(count("Total Injected Packets", &Block::injected_packets)),
    ext(count("Frag memory (bytes)", &Block::frag_memory)),
    ext(count("Stream memory (bytes)", &Block::stream_memory)),
};
// clang-format on

template <std::size_t N, class Print>
void print_lines(const Line (&lines)[N], Print print) {
  for (const Line& line : lines) {
    if (!line.long_only || long_form()) {
      print(line);
    }
  }
}

const char* norm_name(std::int32_t i) {
  return i <= 28 ? norm_names[i] : "Norm Other";
}

// Entry i of an array of count entries; 0 past its end (a shorter or failed array).
std::uint64_t entry(const std::uint64_t* array, std::int32_t count, std::int32_t i) {
  return array != nullptr && i < count ? array[i] : 0;
}

struct CpuPart {
  const char* name;
  double perflib_cpu::*value;
};

constexpr CpuPart cpu_parts[] = {
    {"Usr", &perflib_cpu::user}, {"Sys", &perflib_cpu::system}, {"Idle", &perflib_cpu::idle}};

perflib_cpu cpu_entry(const Block* b, std::int32_t i) {
  return b->cpu != nullptr && i < b->cpu_count ? b->cpu[i] : perflib_cpu{0.0, 0.0, 0.0};
}

void print_stats_line(const Block* d, const Line& line) {
  switch (line.kind) {
    case K_REAL:
      std::printf("%26s: %g\n", line.label, d->*line.real);
      break;
    case K_PERCENT:
      std::printf("%26s: %g%%\n", line.label, d->*line.real);
      break;
    case K_DROP_RATE:
      std::printf("%26s: %0.4Lg%%\n", line.label, d->drop_rate);
      break;
    default:
      std::printf("%26s: %-10lu\n", line.label, d->*line.count);
      break;
  }
}

void print_stats_cpus(const Block* d) {
  char label[32];
  for (std::int32_t i = 0; i < d->cpu_count; ++i) {
    const perflib_cpu c = cpu_entry(d, i);
    for (const CpuPart& part : cpu_parts) {
      std::snprintf(label, sizeof label, "CPU %2d %s %%", i, part.name);
      std::printf("%26s: %g%%\n", label, c.*part.value);
    }
  }
}

void print_stats_norms(const Block* d) {
  std::printf("%26s: %-10d\n", "Number of normalizations", d->norm_count);
  for (std::int32_t i = 0; i < d->norm_count; ++i) {
    std::printf("%26s: %-10lu\n", norm_name(i), entry(d->norms, d->norm_count, i));
  }
  for (std::int32_t i = 0; i < d->norm_count; ++i) {
    std::printf("Would %20s: %-10lu\n", norm_name(i), entry(d->would_norms, d->norm_count, i));
  }
}

struct Three {
  const Block* avg;
  const Block* min;
  const Block* max;
};

void print_ex_line(const Three& b, const Line& line) {
  const char* l = line.label;
  switch (line.kind) {
    case K_DROP_RATE:
      std::printf("%29s:  %8.4Lg%%  %8.4Lg%%  %8.4Lg%%\n", l, b.avg->drop_rate, b.min->drop_rate,
                  b.max->drop_rate);
      break;
    case K_COUNT:
      std::printf("%29s:%10lu %10lu %10lu \n", l, b.avg->*line.count, b.min->*line.count,
                  b.max->*line.count);
      break;
    case K_FIRST_COUNT:
      std::printf("%29s: %10lu %10lu %10lu \n", l, b.avg->*line.count, b.min->*line.count,
                  b.max->*line.count);
      break;
    case K_ONE:
      std::printf("%29s:  %9.1f\n", l, b.avg->*line.real);
      break;
    case K_ONE_BLANK:
      std::printf("%29s:  %9.1f \n", l, b.avg->*line.real);
      break;
    default:
      std::printf("%29s:  %9.1f  %9.1f  %9.1f\n", l, b.avg->*line.real, b.min->*line.real,
                  b.max->*line.real);
      break;
  }
}

// Bounded by the average block's processor count.
void print_ex_cpus(const Three& b) {
  char label[32];
  for (std::int32_t i = 0; i < b.avg->cpu_count; ++i) {
    const perflib_cpu a = cpu_entry(b.avg, i);
    const perflib_cpu lo = cpu_entry(b.min, i);
    const perflib_cpu hi = cpu_entry(b.max, i);
    for (const CpuPart& part : cpu_parts) {
      std::snprintf(label, sizeof label, "CPU %2d %s %%", i, part.name);
      std::printf("%29s:  %9.1f  %9.1f  %9.1f\n", label, a.*part.value, lo.*part.value,
                  hi.*part.value);
    }
  }
}

// Bounded by the average block's normalisation count.
void print_ex_norms(const Three& b) {
  const std::int32_t n = b.avg->norm_count;
  std::printf("%29s:%10d\n", "Number of normalizations", n);
  for (std::int32_t i = 0; i < n; ++i) {
    std::printf("%29s:%10lu %10lu %10lu \n", norm_name(i), entry(b.avg->norms, n, i),
                entry(b.min->norms, b.min->norm_count, i),
                entry(b.max->norms, b.max->norm_count, i));
  }
  for (std::int32_t i = 0; i < n; ++i) {
    std::printf("Would %23s:%10lu %10lu %10lu \n", norm_name(i), entry(b.avg->would_norms, n, i),
                entry(b.min->would_norms, b.min->norm_count, i),
                entry(b.max->would_norms, b.max->norm_count, i));
  }
}

}  // namespace

extern "C" {

void printstats(const Block* data) {
  print_lines(stats_head, [data](const Line& line) { print_stats_line(data, line); });
  print_stats_cpus(data);
  print_lines(stats_tail, [data](const Line& line) { print_stats_line(data, line); });
  if (long_form()) {
    print_stats_norms(data);
  }
  std::printf("\n");
}

void printstatsex(const Block* average, const Block* minimum, const Block* maximum) {
  const Three blocks{average, minimum, maximum};
  const auto print = [&blocks](const Line& line) { print_ex_line(blocks, line); };
  std::printf("%31s%10s %10s %10s\n", "", "Average", "Min", "Max");
  print_lines(ex_head, print);
  print_ex_cpus(blocks);
  print_lines(ex_paths, print);
  if (long_form()) {
    print_ex_norms(blocks);
  }
  print_lines(ex_tail, print);
  std::printf("\n");
}

}  // extern "C"
