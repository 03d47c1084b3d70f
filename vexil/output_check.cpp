// SPDX-License-Identifier: Apache-2.0
#include "output_check.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace vexil {

void check_output(FILE* out, bool flush) {
  int reason = errno;
  if (!std::ferror(out)) {
    errno = 0;
    if (!flush || std::fflush(out) == 0) {
      return;
    }
    reason = errno;
  } else {
    // errno may have moved on since the write that failed: trying what is left once more tells
    // the reason anew.
    std::clearerr(out);
    errno = 0;
    if (std::fflush(out) != 0 && errno != 0) {
      reason = errno;
    }
  }
  throw std::runtime_error(reason != 0 ? std::string("write error: ") + std::strerror(reason)
                                       : std::string("write error"));
}

}  // namespace vexil
