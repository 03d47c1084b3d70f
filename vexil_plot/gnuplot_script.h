// SPDX-License-Identifier: Apache-2.0
// The gnuplot script that draws a chart, with its data inline as datablocks, so the script alone
// reproduces the picture and can be edited and run again.
//
// Panels are stacked on one time axis by placing each at fixed screen margins: every panel gets
// the same left and right edges (so their time axes line up) and its legend in the right margin,
// where it covers no data. Every text goes into single-quoted strings and every terminal runs
// with enhanced text off, so column names come out exactly as written.
#ifndef VEXIL_PLOT_GNUPLOT_SCRIPT_H
#define VEXIL_PLOT_GNUPLOT_SCRIPT_H

#include <string>
#include <string_view>

#include "chart.h"
#include "terminal.h"

namespace vexil {

// output is the file gnuplot writes; empty for text on standard output.
std::string gnuplot_script(const Chart& chart, const Terminal& terminal, const std::string& output);

// text as a gnuplot string literal that gnuplot reads back unchanged.
std::string gnuplot_quote(std::string_view text);

}  // namespace vexil

#endif
