// SPDX-License-Identifier: Apache-2.0
// The whole of vexil-plot: read the merged CSV, build the chart, hand it to gnuplot.
#ifndef VEXIL_PLOT_PLOT_MAIN_H
#define VEXIL_PLOT_PLOT_MAIN_H

namespace vexil {

// Returns the exit status: 0, or 1 after a one-line message on standard error.
int plot_main(int argc, char** argv);

}  // namespace vexil

#endif
