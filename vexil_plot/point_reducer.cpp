// SPDX-License-Identifier: Apache-2.0
#include "point_reducer.h"

#include <algorithm>
#include <limits>

namespace vexil {

namespace {

constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();

class Reducer {
 public:
  Reducer(const std::vector<std::int64_t>& times, const std::vector<double>& values,
          std::size_t slots)
      : times(times), values(values), slots(slots) {
    span = times.back() - times.front();
    whole = times.size() <= 2 * slots || span <= 0;
  }

  void add(std::size_t i) {
    if (whole) {
      out.push_back(PlotPoint{times[i], values[i]});
      return;
    }
    const double at = static_cast<double>(times[i] - times.front()) / static_cast<double>(span);
    const std::size_t slot = std::min(slots - 1, static_cast<std::size_t>(at * slots));
    if (slot != current_slot) {
      flush();
      current_slot = slot;
    }
    if (low == NONE || values[i] < values[low]) {
      low = i;
    }
    if (high == NONE || values[i] > values[high]) {
      high = i;
    }
  }

  void cut() {
    flush();
    current_slot = NONE;
    if (!out.empty() && !out.back().is_break()) {
      out.push_back(PlotPoint{out.back().time, std::numeric_limits<double>::quiet_NaN()});
    }
  }

  std::vector<PlotPoint> finish() {
    flush();
    if (!out.empty() && out.back().is_break()) {
      out.pop_back();
    }
    return std::move(out);
  }

 private:
  void flush() {
    if (low == NONE) {
      return;
    }
    const std::size_t first = low < high ? low : high, second = low < high ? high : low;
    out.push_back(PlotPoint{times[first], values[first]});
    if (second != first) {
      out.push_back(PlotPoint{times[second], values[second]});
    }
    low = high = NONE;
  }

  const std::vector<std::int64_t>& times;
  const std::vector<double>& values;
  std::size_t slots;
  std::int64_t span = 0;
  bool whole = true;
  std::size_t current_slot = NONE, low = NONE, high = NONE;
  std::vector<PlotPoint> out;
};

}  // namespace

std::vector<PlotPoint> reduce_points(const std::vector<std::int64_t>& times,
                                     const std::vector<double>& values, std::int64_t bucket,
                                     std::size_t slots) {
  if (times.empty()) {
    return {};
  }
  Reducer reducer(times, values, slots == 0 ? 1 : slots);
  std::size_t previous = NONE;
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (!std::isfinite(values[i])) {
      reducer.cut();
      previous = NONE;
      continue;
    }
    if (previous != NONE && 2 * (times[i] - times[previous]) > 3 * bucket) {
      reducer.cut();
    }
    reducer.add(i);
    previous = i;
  }
  return reducer.finish();
}

}  // namespace vexil
