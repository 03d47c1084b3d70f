// SPDX-License-Identifier: Apache-2.0
// How many processors this process may run on (its affinity mask, as taskset and the service
// manager set it); 1 when that cannot be told.
#ifndef VEXIL_CPU_COUNT_H
#define VEXIL_CPU_COUNT_H

namespace vexil {

unsigned available_cpus();

// The threads a merge reads its inputs ahead with besides its own: one fewer than the
// processors, four at most. The environment variable VEXIL_READ_AHEAD decides instead when set:
// "0" none (the inputs are read in turn), "1" at least one, also on one processor. Throws
// std::runtime_error for any other value.
unsigned read_ahead_helpers();

}  // namespace vexil

#endif
