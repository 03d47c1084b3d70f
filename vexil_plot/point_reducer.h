// SPDX-License-Identifier: Apache-2.0
// Cuts a series down to what a plot of a given width can show. The time range is divided into
// one slot per pixel (or text column); a slot keeps only its lowest and its highest point, in
// time order, so every peak and every trough stays visible while gnuplot gets at most two
// points per slot. Series no wider than two points per slot are passed through whole.
//
// A missing bucket (a step longer than one bucket and a half) or a missing value breaks the
// line: the output then holds a break, so the plot shows a gap and not a line across it.
#ifndef VEXIL_PLOT_POINT_REDUCER_H
#define VEXIL_PLOT_POINT_REDUCER_H

#include <cmath>
#include <cstdint>
#include <vector>

namespace vexil {

struct PlotPoint {
  std::int64_t time = 0;
  double value = 0;  // NaN: a break in the line

  bool is_break() const { return std::isnan(value); }
};

// times ascending; values[i] for times[i], NaN where missing. Never starts or ends with a
// break, nor holds two in a row.
std::vector<PlotPoint> reduce_points(const std::vector<std::int64_t>& times,
                                     const std::vector<double>& values, std::int64_t bucket,
                                     std::size_t slots);

}  // namespace vexil

#endif
