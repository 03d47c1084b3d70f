// SPDX-License-Identifier: Apache-2.0
// Runs gnuplot on a script given on its standard input.
#ifndef VEXIL_PLOT_GNUPLOT_RUNNER_H
#define VEXIL_PLOT_GNUPLOT_RUNNER_H

#include <sys/types.h>

#include <functional>
#include <string>

namespace vexil {

// Starts "gnuplot" from PATH with posix_spawnp, writes script to its standard input and waits.
// Its standard output and error are ours. Throws std::runtime_error when gnuplot is not
// installed (saying how to install it), cannot be started, or does not end with status 0.
// started, when given, learns gnuplot's process id as soon as it runs, and 0 once it has ended.
void run_gnuplot(const std::string& script, const std::function<void(pid_t)>& started = {});
// Runs a script that draws text on gnuplot's standard output, and returns that text, its pages
// one after the other without form feeds, ending in a newline.
std::string gnuplot_text(const std::string& script);

}  // namespace vexil

#endif
