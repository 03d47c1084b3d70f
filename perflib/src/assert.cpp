// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/assert.h"

#include <errno.h>

#include <cstdio>
#include <cstdlib>

namespace perflib {

void assertion_failed(const char* condition, unsigned line, const char* function) noexcept {
  std::fflush(stdout);
  std::fprintf(stderr, "%s: perflib:%u: %s: Assertion `%s' failed.\n",
               program_invocation_short_name, line, function, condition);
  std::abort();
}

}  // namespace perflib
