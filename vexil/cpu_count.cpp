// SPDX-License-Identifier: Apache-2.0
#include "cpu_count.h"

#include <sched.h>

namespace vexil {

unsigned available_cpus() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) != 0) {
    return 1;
  }
  const int count = CPU_COUNT(&set);
  return count > 0 ? static_cast<unsigned>(count) : 1;
}

}  // namespace vexil
