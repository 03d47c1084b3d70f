// SPDX-License-Identifier: Apache-2.0
// The whole program: parse the command line, run the merge, report a user error.
#ifndef VEXIL_VEXIL_MAIN_H
#define VEXIL_VEXIL_MAIN_H

#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "output_check.h"

namespace vexil {

// Returns the exit status. Only std::runtime_error is caught: its text goes to standard error
// after whatever the run printed while it was torn down. Output that could not be written is
// such an error too ("write error: ..."), so the status is never 0 after output was lost.
template <class Args, class Run>
int vexil_main(int argc, char** argv) {
  try {
    Args args;
    args.parse(argc, argv);
    if (!args.help) {
      Run run(args);
      run.open_files();
      run.merge_files();
    }
    check_output(stdout, true);
    return 0;
  } catch (const std::runtime_error& e) {
    std::fflush(stdout);
    std::cerr << e.what() << std::endl;
    return 1;
  }
}

}  // namespace vexil

#endif
