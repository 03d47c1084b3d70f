// SPDX-License-Identifier: Apache-2.0
#include "cpu_count.h"

#include <sched.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>

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

unsigned read_ahead_helpers() {
  const unsigned helpers = std::min(available_cpus(), 5u) - 1;
  const char* forced = std::getenv("VEXIL_READ_AHEAD");
  if (forced == nullptr || *forced == '\0') {
    return helpers;
  }
  const std::string value = forced;
  if (value == "0") {
    return 0;
  }
  if (value == "1") {
    return std::max(helpers, 1u);
  }
  throw std::runtime_error("VEXIL_READ_AHEAD must be 0 or 1, not \"" + value + "\"");
}

}  // namespace vexil
