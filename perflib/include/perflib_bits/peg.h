// SPDX-License-Identifier: Apache-2.0
// One value of a row: a counter or an extended-precision real, selected by the column's PegType.
#ifndef PERFLIB_BITS_PEG_H
#define PERFLIB_BITS_PEG_H

#include <cstdint>
#include <cstring>

#include "peg_type.h"

// GCC notes that passing a union holding a long double changed ABI in GCC 4.6: not a problem here.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace perflib {

union Peg {
  std::uint64_t count;  // integer kinds (PegType below 5); arithmetic wraps modulo 2^64
  long double value;    // real kinds; the 80-bit x87 format

  // Every byte starts at zero, so either member reads as zero and no padding is undefined.
  Peg() noexcept { std::memset(static_cast<void*>(this), 0, sizeof *this); }

  static Peg of_count(std::uint64_t c) noexcept {
    Peg p;
    p.count = c;
    return p;
  }
  static Peg of_value(long double v) noexcept {
    Peg p;
    p.value = v;
    return p;
  }
};

}  // namespace perflib

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#endif
