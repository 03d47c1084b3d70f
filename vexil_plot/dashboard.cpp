// SPDX-License-Identifier: Apache-2.0
#include "dashboard.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "column_kind.h"

namespace vexil {

namespace {

constexpr double MISSING = std::numeric_limits<double>::quiet_NaN();

// Colours fixed per series, so a series looks the same in every dashboard.
enum SeriesColour : std::size_t {
  SC_RECEIVED = 0,
  SC_DROPPED = 1,
  SC_THROUGHPUT = 2,
  SC_SESSIONS = 3,
  SC_MAX_SESSIONS = 4,
  THREAD_COLOURS = 5,  // thread N takes colour 5 + N
};

using Combine = std::function<double(double, double)>;

std::vector<double> combine(const Column& a, const Column& b, const Combine& f) {
  std::vector<double> out(a.values.size());
  for (std::size_t i = 0; i < out.size(); ++i) {
    out[i] = f(a.values[i], b.values[i]);
  }
  return out;
}

void add_packets(const SeriesTable& table, std::int64_t bucket, std::vector<Panel>& panels) {
  Panel panel{"Packets received", "packets/s", "bucket sums per second", {}};
  if (const Column* c = table.find("daq.received")) {
    panel.series.push_back(Series{c->name, palette_colour(SC_RECEIVED), drawn_values(*c, bucket)});
  }
  panels.push_back(std::move(panel));
}

// The drops as a share of all packets, in a panel of their own. Drops are commonly a thousandth
// of the traffic or less: on the axis of the packets received they lie flat along zero, and on a
// second axis scaled to their own range they lie exactly on the packets whenever they are a
// fixed share of them, which hides the one thing to see. The share reads at a glance: flat when
// the drops merely follow the traffic, rising when the sensor falls behind, and its axis says
// how much. The drops per second are the share times the packets above (-c daq.dropped draws
// them), and only when the packets received are missing are they drawn instead.
void add_drops(const SeriesTable& table, std::int64_t bucket, std::vector<Panel>& panels) {
  const Column* received = table.find("daq.received");
  const Column* dropped = table.find("daq.dropped");
  Panel panel{"Drops", "% of packets", "dropped / (received + dropped)", {}};
  if (received != nullptr && dropped != nullptr) {
    panel.series.push_back(Series{"daq.dropped (% of packets)", palette_colour(SC_DROPPED),
                                  combine(*dropped, *received, [](double d, double r) {
                                    return d + r > 0 ? 100 * d / (d + r) : MISSING;
                                  })});
  } else if (const Column* c = table.find("stats.pkt_drop_percent")) {
    panel.note = "bucket averages";
    panel.series.push_back(Series{c->name, palette_colour(SC_DROPPED), c->values});
  } else if (dropped != nullptr) {
    panel.y_label = "packets/s";
    panel.note = "bucket sums per second";
    panel.series.push_back(
        Series{dropped->name, palette_colour(SC_DROPPED), drawn_values(*dropped, bucket)});
  }
  panels.push_back(std::move(panel));
}

void add_throughput(const SeriesTable& table, std::int64_t bucket, std::vector<Panel>& panels) {
  Panel panel{"Throughput", "Mbit/s", "average rate of each bucket", {}};
  if (const Column* c = table.find("daq.rx_bytes")) {
    std::vector<double> mbits = drawn_values(*c, bucket);
    for (double& v : mbits) {
      v *= 8 / 1e6;
    }
    panel.note = "bytes received x 8 / bucket length";
    panel.series.push_back(
        Series{c->name + " (Mbit/s)", palette_colour(SC_THROUGHPUT), std::move(mbits)});
  } else if (const Column* c = table.find("stats.wire_mbits_per_sec.realtime")) {
    panel.series.push_back(Series{c->name, palette_colour(SC_THROUGHPUT), c->values});
  }
  panels.push_back(std::move(panel));
}

void add_sessions(const SeriesTable& table, std::vector<Panel>& panels) {
  Panel panel{"TCP sessions", "sessions", "levels: last value and maximum of each bucket", {}};
  if (const Column* c = table.find("stream_tcp.sessions")) {
    panel.series.push_back(Series{c->name, palette_colour(SC_SESSIONS), c->values});
  }
  if (const Column* c = table.find("stream_tcp.max")) {
    panel.series.push_back(Series{c->name, palette_colour(SC_MAX_SESSIONS), c->values});
  }
  panels.push_back(std::move(panel));
}

// The N of "thread_N.cpu_wall", or -1.
long thread_number(const std::string& name) {
  const std::string prefix = "thread_", suffix = ".cpu_wall";
  if (name.size() <= prefix.size() + suffix.size() || name.rfind(prefix, 0) != 0
      || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
    return -1;
  }
  const std::string digits =
      name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
  if (digits.size() > 6
      || !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    return -1;
  }
  return std::stol(digits);
}

void add_cpu(const SeriesTable& table, std::vector<Panel>& panels) {
  std::vector<long> threads;
  for (const Column& c : table.columns) {
    if (long n = thread_number(c.name); n >= 0) {
      threads.push_back(n);
    }
  }
  std::sort(threads.begin(), threads.end());
  Panel panel{"CPU per packet thread", "% of wall time", "user + system time / wall time", {}};
  for (long n : threads) {
    const std::string thread = "thread_" + std::to_string(n);
    const Column* user = table.find(thread + ".cpu_user");
    const Column* system = table.find(thread + ".cpu_system");
    const Column* wall = table.find(thread + ".cpu_wall");
    if (user == nullptr || system == nullptr) {
      continue;
    }
    std::vector<double> busy = combine(*user, *system, std::plus<double>());
    for (std::size_t i = 0; i < busy.size(); ++i) {
      busy[i] = wall->values[i] > 0 ? 100 * busy[i] / wall->values[i] : MISSING;
    }
    panel.series.push_back(
        Series{thread, palette_colour(THREAD_COLOURS + static_cast<std::size_t>(n)), busy});
  }
  panels.push_back(std::move(panel));
}

}  // namespace

const std::vector<std::string_view>& dashboard_columns() {
  static const std::vector<std::string_view> names = {
      "daq.received",
      "daq.dropped",
      "daq.rx_bytes",
      "stats.pkt_drop_percent",
      "stats.wire_mbits_per_sec.realtime",
      "stream_tcp.sessions",
      "stream_tcp.max",
      "thread_*.cpu_user",
      "thread_*.cpu_system",
      "thread_*.cpu_wall",
  };
  return names;
}

std::vector<Panel> dashboard(const SeriesTable& table, std::int64_t bucket) {
  std::vector<Panel> panels;
  add_packets(table, bucket, panels);
  add_drops(table, bucket, panels);
  add_throughput(table, bucket, panels);
  add_sessions(table, panels);
  add_cpu(table, panels);
  std::erase_if(panels, [](const Panel& p) { return p.series.empty(); });
  return panels;
}

}  // namespace vexil
