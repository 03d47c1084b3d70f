// SPDX-License-Identifier: Apache-2.0
// Standard output that cannot be written is an error, as for any filter: a full disk or a closed
// terminal must not end the run with status 0 after every merged line was lost.
#ifndef VEXIL_OUTPUT_CHECK_H
#define VEXIL_OUTPUT_CHECK_H

#include <cstdio>

namespace vexil {

// Throws std::runtime_error "write error: <reason>" when a write to out has failed, after
// writing out what is buffered when flush is set.
void check_output(FILE* out, bool flush);

}  // namespace vexil

#endif
