// SPDX-License-Identifier: Apache-2.0
// The legacy statistics block: create, set, sum, average and bound flat blocks.
//
// The fields are grouped in tables of member pointers so each operation says once which groups
// it touches and where it deviates. The deviations are old behaviour that callers depend on, and
// are marked "deliberate". Nothing here throws; memory is calloc/free so callers can free what the
// library allocated.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "perflib_legacy.h"

namespace {

using Block = struct _data;  // NOLINT(bugprone-reserved-identifier)
using RealField = double Block::*;
using CountField = std::uint64_t Block::*;

constexpr int STATUS_OK = 0;
constexpr int STATUS_NO_MEMORY = 3;

// mbits_per_sec to frag_faults, without max_active_sessions (a maximum, handled apart).
constexpr RealField core_reals[] = {
    &Block::mbits_per_sec,          &Block::alerts_per_sec,
    &Block::total_alerts_per_sec,   &Block::kpkts_per_sec,
    &Block::avg_bytes_per_pkt,      &Block::pat_matched,
    &Block::syns_per_sec,           &Block::synacks_per_sec,
    &Block::new_sessions_per_sec,   &Block::deleted_sessions_per_sec,
    &Block::active_sessions,        &Block::stream_flushes_per_sec,
    &Block::stream_faults_per_sec,  &Block::stream_timeouts,
    &Block::frag_creates_per_sec,   &Block::frag_completes_per_sec,
    &Block::frag_inserts_per_sec,   &Block::frag_deletes_per_sec,
    &Block::frag_autofrees_per_sec, &Block::frag_flushes_per_sec,
    &Block::current_frags,          &Block::max_frags,
    &Block::frag_timeouts,          &Block::frag_faults,
};

// Per path: wire, ipfrag, ipreass, tcprebuilt, app layer, mpls.
constexpr RealField path_reals[] = {
    &Block::mbits_per_sec_wire,           &Block::mbits_per_sec_ipfrag,
    &Block::mbits_per_sec_ipreass,        &Block::mbits_per_sec_tcprebuilt,
    &Block::mbits_per_sec_app_layer,      &Block::avg_bytes_per_pkt_wire,
    &Block::avg_bytes_per_pkt_ipfrag,     &Block::avg_bytes_per_pkt_ipreass,
    &Block::avg_bytes_per_pkt_tcprebuilt, &Block::avg_bytes_per_pkt_app_layer,
    &Block::kpkts_per_sec_wire,           &Block::kpkts_per_sec_ipfrag,
    &Block::kpkts_per_sec_ipreass,        &Block::kpkts_per_sec_tcprebuilt,
    &Block::kpkts_per_sec_app_layer,      &Block::mbits_per_sec_mpls,
    &Block::avg_bytes_per_pkt_mpls,       &Block::kpkts_per_sec_mpls,
};

// UDP, TCP session and attribute-table reals, without max_udp_sessions_active (a maximum).
constexpr RealField session_reals[] = {
    &Block::new_udp_sessions_per_sec, &Block::deleted_udp_sessions_per_sec,
    &Block::active_udp_sessions,      &Block::max_sessions_interval,
    &Block::sessions_initializing,    &Block::sessions_established,
    &Block::sessions_closing,         &Block::midstream_sessions_per_sec,
    &Block::closed_sessions_per_sec,  &Block::timed_out_sessions_per_sec,
    &Block::pruned_sessions_per_sec,  &Block::dropped_async_sessions_per_sec,
    &Block::attribute_table_hosts,    &Block::attribute_table_reloads,
};

constexpr CountField packet_counts[] = {&Block::pkts_recv, &Block::pkts_drop,
                                        &Block::block_verdicts};

// Levels: a sum takes the latest sample's value instead of adding.
constexpr CountField level_counts[] = {&Block::filtered_tcp_packets, &Block::filtered_udp_packets,
                                       &Block::injected_packets, &Block::frag_memory,
                                       &Block::stream_memory};

template <class Field, std::size_t N, class Op>
void for_each_field(const Field (&fields)[N], Op op) {
  for (Field f : fields) {
    op(f);
  }
}

template <class Op>
void for_each_real(Op op) {
  for_each_field(core_reals, op);
  for_each_field(path_reals, op);
  for_each_field(session_reals, op);
}

template <class T>
void fold_min(T& min, T value) {
  if (value < min) {
    min = value;
  }
}

template <class T>
void fold_max(T& max, T value) {
  if (value > max) {
    max = value;
  }
}

// setdata's count: saturates at both ends; NaN counts as 0.
std::uint64_t to_count(double value) {
  if (value >= 0x1p64) {
    return UINT64_MAX;
  }
  if (!(value >= 0.0)) {
    return 0;
  }
  return static_cast<std::uint64_t>(value);
}

// A zero-filled array of count entries holding the old entries; frees the old array either way.
template <class T>
T* regrow(T* old, std::int32_t old_count, std::int32_t count) {
  auto* fresh = static_cast<T*>(std::calloc(static_cast<std::size_t>(count), sizeof(T)));
  if (fresh != nullptr && old != nullptr && old_count > 0) {
    std::memcpy(fresh, old, static_cast<std::size_t>(old_count) * sizeof(T));
  }
  std::free(old);
  return fresh;
}

// The count is raised before the allocation: on failure it stays raised with a null array.
int grow_cpu(Block* d, std::int32_t count) {
  if (d->cpu_count >= count) {
    return STATUS_OK;
  }
  const std::int32_t old_count = d->cpu_count;
  d->cpu_count = count;
  d->cpu = regrow(d->cpu, old_count, count);
  return d->cpu != nullptr ? STATUS_OK : STATUS_NO_MEMORY;
}

// norms first, then would_norms; a failure of either leaves would_norms null, so no array is
// ever shorter than norm_count.
int grow_norms(Block* d, std::int32_t count) {
  if (d->norm_count >= count) {
    return STATUS_OK;
  }
  const std::int32_t old_count = d->norm_count;
  d->norm_count = count;
  d->norms = regrow(d->norms, old_count, count);
  if (d->norms == nullptr) {
    std::free(d->would_norms);
    d->would_norms = nullptr;
    return STATUS_NO_MEMORY;
  }
  d->would_norms = regrow(d->would_norms, old_count, count);
  return d->would_norms != nullptr ? STATUS_OK : STATUS_NO_MEMORY;
}

// Applies op(entry of a, entry of b) to the first count entries of two arrays that may be null
// after a failed growth.
template <class T, class U, class Op>
void zip(T* a, U* b, std::int32_t count, Op op) {
  if (a == nullptr || b == nullptr) {
    return;
  }
  for (std::int32_t i = 0; i < count; ++i) {
    op(a[i], b[i]);
  }
}

template <class T, class Op>
void each(T* a, std::int32_t count, Op op) {
  zip(a, a, count, [&op](T& x, T&) { op(x); });
}

void add_cpu(perflib_cpu& sum, const perflib_cpu& sample) {
  sum.user += sample.user;
  sum.system += sample.system;
  sum.idle += sample.idle;
}

}  // namespace

extern "C" {

int perflib_createdata(Block** out) {
  auto* d = static_cast<Block*>(std::calloc(1, sizeof(Block)));
  if (d == nullptr) {
    return STATUS_NO_MEMORY;
  }
  d->cpu_count = 0;
  d->cpu = nullptr;
  d->norm_count = 0;
  d->norms = nullptr;
  d->would_norms = nullptr;
  setdata(d, 0.0);  // its status is not looked at
  *out = d;
  return STATUS_OK;
}

int perflib_freedata(Block* data) {
  if (data == nullptr) {
    return STATUS_OK;
  }
  std::free(data->cpu);
  std::free(data->norms);
  std::free(data->would_norms);
  std::free(data);
  return STATUS_OK;
}

int setdata(Block* data, double value) {
  data->cpu_count = 1;
  std::free(data->cpu);
  data->cpu = static_cast<perflib_cpu*>(std::calloc(1, sizeof(perflib_cpu)));
  if (data->cpu == nullptr) {
    return STATUS_NO_MEMORY;
  }
  data->cpu[0] = perflib_cpu{value, value, value};

  // deliberate: max_active_sessions keeps its old value.
  for_each_real([&](RealField f) { data->*f = value; });
  data->max_udp_sessions_active = value;
  data->drop_rate = value;

  const std::uint64_t c = to_count(value);
  for_each_field(packet_counts, [&](CountField f) { data->*f = c; });
  for_each_field(level_counts, [&](CountField f) { data->*f = c; });
  each(data->norms, data->norm_count, [c](std::uint64_t& x) { x = c; });
  each(data->would_norms, data->norm_count, [c](std::uint64_t& x) { x = c; });
  return STATUS_OK;
}

int accumdata(Block* sum, const Block* sample) {
  fold_max(sum->time, sample->time);
  fold_max(sum->max_active_sessions, sample->max_active_sessions);
  fold_max(sum->max_udp_sessions_active, sample->max_udp_sessions_active);
  for_each_field(level_counts, [&](CountField f) { sum->*f = sample->*f; });

  for_each_real([&](RealField f) { sum->*f += sample->*f; });
  sum->drop_rate += sample->drop_rate;
  for_each_field(packet_counts, [&](CountField f) { sum->*f += sample->*f; });

  grow_cpu(sum, sample->cpu_count);  // a failure is not reported
  const std::int32_t cpus = sum->cpu_count < sample->cpu_count ? sum->cpu_count : sample->cpu_count;
  zip(sum->cpu, sample->cpu, cpus, add_cpu);

  grow_norms(sum, sample->norm_count);
  const auto add = [](std::uint64_t& s, const std::uint64_t& x) { s += x; };
  zip(sum->norms, sample->norms, sample->norm_count, add);
  zip(sum->would_norms, sample->would_norms, sample->norm_count, add);
  return STATUS_OK;
}

void avgdata(Block* sum, std::int32_t n) {
  if (n == 0) {
    return;
  }
  const auto real_n = static_cast<double>(n);
  const auto count_n = static_cast<std::uint64_t>(static_cast<std::int64_t>(n));

  sum->drop_rate /= static_cast<long double>(n);
  for_each_real([&](RealField f) {
    if (f != &Block::frag_timeouts) {  // deliberate: stays a total over the interval
      sum->*f /= real_n;
    }
  });
  each(sum->cpu, sum->cpu_count, [&](perflib_cpu& c) {
    c.user /= real_n;
    c.system /= real_n;
    c.idle /= real_n;
  });

  for_each_field(packet_counts, [&](CountField f) { sum->*f /= count_n; });
  for_each_field(level_counts, [&](CountField f) { sum->*f /= count_n; });
  each(sum->norms, sum->norm_count, [&](std::uint64_t& x) { x /= count_n; });
  each(sum->would_norms, sum->norm_count, [&](std::uint64_t& x) { x /= count_n; });
}

int setdataminmax(const Block* sample, Block* min, Block* max) {
  const auto fold = [&](auto field) {
    fold_max(max->*field, sample->*field);
    fold_min(min->*field, sample->*field);
  };
  for_each_field(packet_counts, fold);
  fold(&Block::drop_rate);

  // deliberate: the minimum of stream_timeouts is never taken; that of stream_flushes_per_sec
  // is taken a second time in its place. max_active_sessions is not in the table.
  for (RealField f : core_reals) {
    fold_max(max->*f, sample->*f);
    const RealField min_field = f == &Block::stream_timeouts ? &Block::stream_flushes_per_sec : f;
    fold_min(min->*min_field, sample->*min_field);
  }

  if (grow_cpu(min, sample->cpu_count) != STATUS_OK
      || grow_cpu(max, sample->cpu_count) != STATUS_OK) {
    return STATUS_NO_MEMORY;
  }
  zip(max->cpu, sample->cpu, sample->cpu_count, [](perflib_cpu& m, const perflib_cpu& s) {
    fold_max(m.user, s.user);
    fold_max(m.system, s.system);
    fold_max(m.idle, s.idle);
  });
  zip(min->cpu, sample->cpu, sample->cpu_count, [](perflib_cpu& m, const perflib_cpu& s) {
    fold_min(m.user, s.user);
    fold_min(m.system, s.system);
    fold_min(m.idle, s.idle);
  });

  // deliberate: max_udp_sessions_active is not in the table, so neither block takes it.
  for_each_field(path_reals, fold);
  for_each_field(session_reals, fold);
  for_each_field(level_counts, fold);

  if (grow_norms(min, sample->norm_count) != STATUS_OK
      || grow_norms(max, sample->norm_count) != STATUS_OK) {
    return STATUS_NO_MEMORY;
  }
  const auto fold_max_entry = [](std::uint64_t& m, const std::uint64_t& x) { fold_max(m, x); };
  const auto fold_min_entry = [](std::uint64_t& m, const std::uint64_t& x) { fold_min(m, x); };
  zip(max->norms, sample->norms, sample->norm_count, fold_max_entry);
  zip(min->norms, sample->norms, sample->norm_count, fold_min_entry);
  zip(max->would_norms, sample->would_norms, sample->norm_count, fold_max_entry);
  zip(min->would_norms, sample->would_norms, sample->norm_count, fold_min_entry);
  return STATUS_OK;
}

}  // extern "C"
