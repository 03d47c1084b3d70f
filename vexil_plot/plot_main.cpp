// SPDX-License-Identifier: Apache-2.0
#include "plot_main.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "column_panels.h"
#include "dashboard.h"
#include "gnuplot_runner.h"
#include "gnuplot_script.h"
#include "output_file.h"
#include "plot_arguments.h"
#include "series_table.h"
#include "terminal.h"

namespace vexil {

namespace {

SeriesTable read_table(const PlotArguments& args) {
  std::vector<std::string_view> wanted(args.columns.begin(), args.columns.end());
  if (wanted.empty()) {
    wanted = dashboard_columns();
  }
  const bool from_stdin = args.input.empty() || args.input == "-";
  FILE* in = from_stdin ? stdin : std::fopen(args.input.c_str(), "r");
  if (in == nullptr) {
    throw std::runtime_error("cannot open " + args.input + ": " + std::strerror(errno));
  }
  SeriesTable table;
  table.read(in, from_stdin ? "standard input" : args.input, [&](std::string_view name) {
    return std::any_of(wanted.begin(), wanted.end(),
                       [&](std::string_view p) { return perflib::column_pattern_match(p, name); });
  });
  if (table.rows_without_time > 0) {
    std::cerr << "vexil-plot: skipped " << table.rows_without_time << " rows without a timestamp\n";
  }
  return table;
}

bool has_value(const Series& series) {
  for (double v : series.values) {
    if (std::isfinite(v)) {
      return true;
    }
  }
  return false;
}

Chart make_chart(const PlotArguments& args, SeriesTable& table) {
  Chart chart;
  chart.bucket = args.bucket != 0 ? args.bucket : table.bucket_length();
  if (chart.bucket == 0) {
    throw std::runtime_error(
        "the input holds one bucket only, so its length must be given with -T SECONDS");
  }
  chart.panels = args.columns.empty() ? dashboard(table, chart.bucket)
                                      : column_panels(table, args.columns, chart.bucket);
  for (Panel& panel : chart.panels) {
    std::erase_if(panel.series, [](const Series& s) { return !has_value(s); });
  }
  std::erase_if(chart.panels, [](const Panel& p) { return p.series.empty(); });
  if (chart.panels.empty()) {
    throw std::runtime_error(args.columns.empty()
                                 ? "nothing to draw: the input has none of the dashboard's columns"
                                   " (daq.received, stream_tcp.sessions, thread_N.cpu_user, ...)"
                                 : "nothing to draw: the columns asked for hold no values");
  }
  chart.times = std::move(table.times);
  return chart;
}

void draw(const PlotArguments& args, const Chart& chart) {
  const Terminal terminal =
      make_terminal(args.output, args.width, args.height, static_cast<int>(chart.panels.size()));
  if (args.script) {
    std::fputs(gnuplot_script(chart, terminal, args.output).c_str(), stdout);
    return;
  }
  if (args.output.empty()) {
    const std::string text = gnuplot_text(gnuplot_script(chart, terminal, ""));
    std::fwrite(text.data(), 1, text.size(), stdout);
    return;
  }
  OutputFile picture(args.output);
  run_gnuplot(gnuplot_script(chart, terminal, picture.temporary_path()),
              [&](pid_t pid) { picture.writing_process(pid); });
  picture.commit();
}

}  // namespace

int plot_main(int argc, char** argv) {
  try {
    PlotArguments args;
    args.parse(argc, argv);
    if (args.help) {
      return 0;
    }
    if (!args.output.empty()) {
      picture_kind(args.output);  // a wrong name is reported before any reading
    }
    SeriesTable table = read_table(args);
    draw(args, make_chart(args, table));
    return 0;
  } catch (const std::runtime_error& e) {
    std::fflush(stdout);
    std::cerr << "vexil-plot: " << e.what() << std::endl;
    return 1;
  }
}

}  // namespace vexil
