// SPDX-License-Identifier: Apache-2.0
// The legacy C interface of perflib: one sample of engine statistics in a flat block, the
// operations that create, sum, average and bound such blocks, their fixed-format text reports and
// the listing of the current layout's modules. The header is valid C11 and C++.
//
// A block owns its three arrays (cpu, norms, would_norms); they are allocated with calloc and
// freed with free, so a block may be handed between this library and its callers. Arrays only
// grow. Functions that return int report 0 on success and 3 when memory ran out.
#ifndef PERFLIB_LEGACY_H
#define PERFLIB_LEGACY_H

#include <stdint.h>
#include <stdio.h>

#include "perflib_bits/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// One processor's share of time, in percent.
struct perflib_cpu {
  double user;
  double system;
  double idle;
};

// One statistics sample (or a sum, average, minimum or maximum of samples). The field order is
// part of the binary interface.
struct _data {   // NOLINT(bugprone-reserved-identifier): the historical name
  int64_t time;  // seconds since the epoch
  uint64_t reserved;
  long double drop_rate;  // percent
  double mbits_per_sec;
  double alerts_per_sec;
  double total_alerts_per_sec;
  double kpkts_per_sec;
  double avg_bytes_per_pkt;
  double pat_matched;  // percent
  double syns_per_sec;
  double synacks_per_sec;
  double new_sessions_per_sec;
  double deleted_sessions_per_sec;
  double active_sessions;
  double max_active_sessions;
  double stream_flushes_per_sec;
  double stream_faults_per_sec;
  double stream_timeouts;
  double frag_creates_per_sec;
  double frag_completes_per_sec;
  double frag_inserts_per_sec;
  double frag_deletes_per_sec;
  double frag_autofrees_per_sec;
  double frag_flushes_per_sec;
  double current_frags;
  double max_frags;
  double frag_timeouts;
  double frag_faults;
  int32_t cpu_count;
  struct perflib_cpu* cpu;  // cpu_count entries
  double mbits_per_sec_wire;
  double mbits_per_sec_ipfrag;
  double mbits_per_sec_ipreass;
  double mbits_per_sec_tcprebuilt;
  double mbits_per_sec_app_layer;
  double avg_bytes_per_pkt_wire;
  double avg_bytes_per_pkt_ipfrag;
  double avg_bytes_per_pkt_ipreass;
  double avg_bytes_per_pkt_tcprebuilt;
  double avg_bytes_per_pkt_app_layer;
  double kpkts_per_sec_wire;
  double kpkts_per_sec_ipfrag;
  double kpkts_per_sec_ipreass;
  double kpkts_per_sec_tcprebuilt;
  double kpkts_per_sec_app_layer;
  uint64_t pkts_recv;
  uint64_t pkts_drop;
  uint64_t block_verdicts;
  double new_udp_sessions_per_sec;
  double deleted_udp_sessions_per_sec;
  double active_udp_sessions;
  double max_udp_sessions_active;
  double max_sessions_interval;
  double sessions_initializing;
  double sessions_established;
  double sessions_closing;
  double midstream_sessions_per_sec;
  double closed_sessions_per_sec;
  double timed_out_sessions_per_sec;
  double pruned_sessions_per_sec;
  double dropped_async_sessions_per_sec;
  double attribute_table_hosts;
  double attribute_table_reloads;
  double reserved2;
  double mbits_per_sec_mpls;
  double avg_bytes_per_pkt_mpls;
  double kpkts_per_sec_mpls;
  // Levels rather than amounts: a sum keeps the latest sample's value.
  uint64_t filtered_tcp_packets;
  uint64_t filtered_udp_packets;
  uint64_t injected_packets;
  uint64_t frag_memory;
  uint64_t stream_memory;
  int32_t norm_count;
  uint64_t* norms;        // norm_count entries
  uint64_t* would_norms;  // norm_count entries
};

// 1 selects the long form of the reports (the newer engine's counters); any other value the
// short form.
PERFLIB_EXPORT extern int compatible;  // NOLINT: a global switch read by legacy callers

// Display names of the normalisation counters; an index above 28 prints as "Norm Other".
PERFLIB_EXPORT extern const char* const norm_names[29];

// A new block with every value 0 and one processor entry, stored through out.
PERFLIB_EXPORT int perflib_createdata(struct _data** out);
// Frees a block and its arrays; a null block is ignored. Returns 0.
PERFLIB_EXPORT int perflib_freedata(struct _data* data);
// Sets every value to value (counts saturate at 0 and at the largest count), leaving one
// processor entry. Deliberate: time, the reserved fields and max_active_sessions are left alone.
PERFLIB_EXPORT int setdata(struct _data* data, double value);
// Adds a sample into a running sum, growing the sum's arrays to the sample's counts. Returns 0.
PERFLIB_EXPORT int accumdata(struct _data* sum, const struct _data* sample);
// Turns a sum of n samples into their average; n 0 does nothing. Deliberate: the maxima and
// frag_timeouts (a total over the interval) are not divided.
PERFLIB_EXPORT void avgdata(struct _data* sum, int32_t n);
// Folds a sample into a running minimum and maximum. Deliberate: the minimum's stream_timeouts
// never changes.
PERFLIB_EXPORT int setdataminmax(const struct _data* sample, struct _data* min, struct _data* max);

// One block, one value per line, on standard output.
PERFLIB_EXPORT void printstats(const struct _data* data);
// Average, minimum and maximum side by side, on standard output.
PERFLIB_EXPORT void printstatsex(const struct _data* average, const struct _data* minimum,
                                 const struct _data* maximum);

// The modules of the current layout with their pegs, as one line of engine configuration.
PERFLIB_EXPORT void print_trelk3_lua(FILE* out);

#ifdef __cplusplus
}
#endif

#endif
