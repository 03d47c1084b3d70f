// SPDX-License-Identifier: Apache-2.0
// What vexil-plot draws: stacked panels of series over one shared time axis.
#ifndef VEXIL_PLOT_CHART_H
#define VEXIL_PLOT_CHART_H

#include <cstdint>
#include <string>
#include <vector>

namespace vexil {

// One line of a panel. values[i] belongs to Chart::times[i]; NaN where the series has no value.
struct Series {
  std::string label;
  std::string colour;  // "#rrggbb"
  std::vector<double> values;
};

struct Panel {
  std::string title;
  std::string y_label;  // the unit
  std::string note;     // after the title: how the values were made (per second, levels, ...)
  std::vector<Series> series;
};

struct Chart {
  std::vector<std::int64_t> times;  // bucket end times, ascending, in seconds since the epoch
  std::int64_t bucket = 0;          // bucket length in seconds
  std::vector<Panel> panels;
};

// A series colour that stays the same for the same key on every chart.
const std::string& palette_colour(std::size_t key);

}  // namespace vexil

#endif
