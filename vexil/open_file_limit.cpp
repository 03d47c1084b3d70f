// SPDX-License-Identifier: Apache-2.0
#include "open_file_limit.h"

#include <sys/resource.h>

namespace vexil {

void raise_open_file_limit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

}  // namespace vexil
