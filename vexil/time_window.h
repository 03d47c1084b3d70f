// SPDX-License-Identifier: Apache-2.0
// The window of row times a run merges (--since, --until): since <= time < until. A time is
// given as epoch seconds or in ISO 8601, a time without a zone meaning UTC.
#ifndef VEXIL_TIME_WINDOW_H
#define VEXIL_TIME_WINDOW_H

#include <cstdint>
#include <limits>
#include <string>

namespace vexil {

struct TimeWindow {
  std::int64_t since = std::numeric_limits<std::int64_t>::min();
  std::int64_t until = std::numeric_limits<std::int64_t>::max();

  bool bounded() const {
    return since != std::numeric_limits<std::int64_t>::min()
           || until != std::numeric_limits<std::int64_t>::max();
  }
  bool holds(std::int64_t t) const { return since <= t && t < until; }
};

// Epoch seconds ("1700000000", "-5"), or YYYY-MM-DD, optionally followed by "T" or a space and
// HH:MM or HH:MM:SS, optionally followed by "Z", "+HH:MM", "-HH:MM", "+HHMM" or "+HH". Throws
// std::runtime_error "Invalid time for --OPTION: TEXT" for anything else.
std::int64_t parse_time(const std::string& text, const char* option);

}  // namespace vexil

#endif
