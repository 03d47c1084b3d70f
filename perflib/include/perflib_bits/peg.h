// SPDX-License-Identifier: Apache-2.0
// One value of a row: a counter or an extended-precision real, selected by the column's PegType.
#ifndef PERFLIB_BITS_PEG_H
#define PERFLIB_BITS_PEG_H

#include <cstdint>
#include <cstring>

#include "peg_type.h"

namespace perflib {

// Frozen for the life of the soname (perflib/abi): records hold pegs in place.
union Peg {
  std::uint64_t count;  // integer kinds (PegType below 5); arithmetic wraps modulo 2^64
  long double value;    // real kinds; the 80-bit x87 format

  // Every byte starts at zero, so either member reads as zero and no padding is undefined.
  Peg() noexcept { std::memset(static_cast<void*>(this), 0, sizeof *this); }

  // Setters in place rather than factories returning a Peg: GCC notes every function that passes or
  // returns a union holding a long double by value (its ABI changed in GCC 4.4), in the code of
  // every program that includes this header. Every byte not set is zero, as after construction.
  Peg& set_count(std::uint64_t c) noexcept {
    *this = Peg();
    count = c;
    return *this;
  }
  Peg& set_value(long double v) noexcept {
    *this = Peg();
    value = v;
    return *this;
  }
};

}  // namespace perflib

#endif
