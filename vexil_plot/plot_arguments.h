// SPDX-License-Identifier: Apache-2.0
// The command line of vexil-plot.
#ifndef VEXIL_PLOT_PLOT_ARGUMENTS_H
#define VEXIL_PLOT_PLOT_ARGUMENTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vexil {

class PlotArguments {
 public:
  // Reads the options; with -h prints the help and sets help. Throws std::runtime_error for a
  // user error, ending in the offending value.
  void parse(int argc, char** argv);
  static void show_help();

  std::string input;                 // empty or "-": standard input
  std::string output;                // -o; empty: a text chart on standard output
  std::vector<std::string> columns;  // -c patterns, one panel each
  std::int64_t bucket = 0;           // -T; 0: read from the timestamps
  int width = 0, height = 0;         // -s; 0: the default size
  bool script = false;               // --script
  bool help = false;

 private:
  void parse_size(std::string_view text);
};

}  // namespace vexil

#endif
