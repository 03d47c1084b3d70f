// Runs gnuplot on a script given on its standard input.
#ifndef VEXIL_PLOT_GNUPLOT_RUNNER_H
#define VEXIL_PLOT_GNUPLOT_RUNNER_H

#include <string>

namespace vexil {

// Starts "gnuplot" from PATH with posix_spawnp, writes script to its standard input and waits.
// Its standard output and error are ours. Throws std::runtime_error when gnuplot is not
// installed (saying how to install it), cannot be started, or does not end with status 0.
void run_gnuplot(const std::string& script);

}  // namespace vexil

#endif
