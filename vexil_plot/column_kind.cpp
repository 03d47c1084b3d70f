// SPDX-License-Identifier: Apache-2.0
#include "column_kind.h"

#include <array>
#include <utility>

#include "wildcard.h"

namespace vexil {

DrawClass draw_class(perflib::PegType kind) {
  switch (kind) {
    case perflib::PT_SUM:
      return DC_PER_SECOND;
    case perflib::PT_PERCENT:
      return DC_PERCENT;
    default:
      return DC_LEVEL;
  }
}

std::vector<double> drawn_values(const Column& column, std::int64_t bucket) {
  std::vector<double> values = column.values;
  if (draw_class(column.kind) == DC_PER_SECOND) {
    for (double& v : values) {
      v /= static_cast<double>(bucket);
    }
  }
  return values;
}

std::string kind_words(perflib::PegType kind) {
  switch (kind) {
    case perflib::PT_SUM:
      return "sum per second";
    case perflib::PT_MAX:
    case perflib::PT_PEAK:
      return "maximum";
    case perflib::PT_NOW:
      return "last value";
    case perflib::PT_RATE:
      return "average rate";
    case perflib::PT_PERCENT:
      return "average %";
    default:
      return "average";
  }
}

std::string column_unit(std::string_view name, perflib::PegType kind) {
  if (kind == perflib::PT_PERCENT) {
    return "%";
  }
  // What one of a column counts, by name; the first pattern that matches wins. The thread CPU
  // times are written in milliseconds (a thread's wall time grows by 60000 a minute).
  static const std::array<std::pair<std::string_view, std::string_view>, 17> units = {{
      {"*mbits_per_sec*", "Mbit/s"},
      {"*kpackets*per_sec*", "kpackets/s"},
      {"*alerts_per_second*", "alerts/s"},
      {"*bytes_per*packet*", "bytes/packet"},
      {"*bytes*", "bytes"},
      {"*memory*", "bytes"},
      {"*drop_percent*", "%"},
      {"thread_*.cpu_*", "CPU ms"},
      {"*sessions*", "sessions"},
      {"stream_tcp.max", "sessions"},
      {"*timeouts*", "timeouts"},
      {"*frags*", "fragments"},
      {"daq.*", "packets"},
      {"normalizer.*", "packets"},
      {"*pkts*", "packets"},
      {"*packets*", "packets"},
      {"*alerts*", "alerts"},
  }};
  std::string unit = "count";
  for (const auto& [pattern, words] : units) {
    if (wildcard_match(pattern, name)) {
      unit = words;
      break;
    }
  }
  // A sum is drawn per second; a unit that already is per second stays as it is.
  const bool per_second = draw_class(kind) == DC_PER_SECOND || kind == perflib::PT_RATE;
  if (per_second && !unit.ends_with("/s")) {
    unit += "/s";
  }
  return unit;
}

}  // namespace vexil
