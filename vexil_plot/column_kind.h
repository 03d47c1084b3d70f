// SPDX-License-Identifier: Apache-2.0
// How a column is drawn, from its kind: sums as per-second rates over the bucket, the others
// (maxima, last values, rates, averages, percentages) as the levels vexil printed.
#ifndef VEXIL_PLOT_COLUMN_KIND_H
#define VEXIL_PLOT_COLUMN_KIND_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "series_table.h"

namespace vexil {

enum DrawClass : std::uint8_t {
  DC_PER_SECOND = 0,  // sums divided by the bucket length
  DC_LEVEL = 1,       // maxima, last values, rates and averages as printed
  DC_PERCENT = 2,     // percentages as printed
};

DrawClass draw_class(perflib::PegType kind);
// The values of a column as drawn: sums divided by bucket (seconds), others as they are.
std::vector<double> drawn_values(const Column& column, std::int64_t bucket);
// A few words on what a value of that kind is, for a legend: "maximum", "last value".
std::string kind_words(perflib::PegType kind);
// The unit of a column as drawn, for its axis: "packets/s" for daq.received, "sessions" for
// stream_tcp.sessions, "Mbit/s", "%", "bytes"; "count/s" or "count" for a column it cannot name.
std::string column_unit(std::string_view name, perflib::PegType kind);

}  // namespace vexil

#endif
