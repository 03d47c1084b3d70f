// SPDX-License-Identifier: Apache-2.0
// The chart asked for with -c: one panel per pattern, split by how its columns are drawn (per
// second, level, percent) and by their unit, so no panel mixes units.
#ifndef VEXIL_PLOT_COLUMN_PANELS_H
#define VEXIL_PLOT_COLUMN_PANELS_H

#include <cstdint>
#include <string>
#include <vector>

#include "chart.h"
#include "series_table.h"

namespace vexil {

// Throws std::runtime_error naming a pattern that matches no column.
std::vector<Panel> column_panels(const SeriesTable& table, const std::vector<std::string>& patterns,
                                 std::int64_t bucket);

}  // namespace vexil

#endif
