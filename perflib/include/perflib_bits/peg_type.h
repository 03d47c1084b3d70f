// SPDX-License-Identifier: Apache-2.0
// The kind of a statistics column: how its values are stored and how two rows combine.
#ifndef PERFLIB_BITS_PEG_TYPE_H
#define PERFLIB_BITS_PEG_TYPE_H

#include <cstdint>

namespace perflib {

enum PegType : std::uint8_t {
  PT_PEAK = 0,     // integer; maximum everywhere; hidden in current-layout output
  PT_TIME = 1,     // integer; the time column, always the maximum
  PT_SUM = 2,      // integer; counters, summed
  PT_MAX = 3,      // integer; maximum over time, summed over instances
  PT_NOW = 4,      // integer; current level: last value over time, summed over instances
  PT_FLOAT = 5,    // real; left untouched by the accumulations
  PT_RATE = 6,     // real; averaged over time, summed over instances
  PT_AVERAGE = 7,  // real; averaged everywhere
  PT_PERCENT = 8,  // real; averaged everywhere
  PT_NONE = 9,     // not set
};

// Every integer test in the library is "below 5".
constexpr bool is_integer(PegType type) {
  return type < 5;
}

}  // namespace perflib

#endif
