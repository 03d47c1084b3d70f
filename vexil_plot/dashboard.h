// SPDX-License-Identifier: Apache-2.0
// The default chart: traffic, drops, throughput, TCP sessions and CPU per packet thread, each
// panel left out when the input lacks its columns.
#ifndef VEXIL_PLOT_DASHBOARD_H
#define VEXIL_PLOT_DASHBOARD_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "chart.h"
#include "series_table.h"

namespace vexil {

// The columns the dashboard reads.
const std::vector<std::string_view>& dashboard_columns();
// The panels for table, whose buckets are bucket seconds long.
std::vector<Panel> dashboard(const SeriesTable& table, std::int64_t bucket);

}  // namespace vexil

#endif
