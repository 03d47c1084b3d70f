// SPDX-License-Identifier: Apache-2.0
// The library's one always-on consistency check. Unlike assert() it stays in release builds: a
// failure prints the source ("perflib"), the line, the full signature of the operation and the
// condition as written, then aborts.
#ifndef PERFLIB_BITS_ASSERT_H
#define PERFLIB_BITS_ASSERT_H

#include "export.h"

namespace perflib {

[[noreturn]] PERFLIB_EXPORT void assertion_failed(const char* condition, unsigned line,
                                                  const char* function) noexcept;

}  // namespace perflib

#define PERFLIB_ASSERT(cond)     \
  ((cond) ? static_cast<void>(0) \
          : ::perflib::assertion_failed(#cond, __LINE__, __PRETTY_FUNCTION__))

#endif
