// SPDX-License-Identifier: Apache-2.0
// How many processors this process may run on (its affinity mask, as taskset and the service
// manager set it); 1 when that cannot be told.
#ifndef VEXIL_CPU_COUNT_H
#define VEXIL_CPU_COUNT_H

namespace vexil {

unsigned available_cpus();

}  // namespace vexil

#endif
