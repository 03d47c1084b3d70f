// SPDX-License-Identifier: Apache-2.0
#include "number_parse.h"

#include <charconv>
#include <cstdlib>
#include <system_error>

namespace perflib {

std::uint64_t c_library_count(char* start, char* end) {
  char saved = *end;
  *end = '\0';
  std::uint64_t v = std::strtoull(start, nullptr, 10);
  *end = saved;
  return v;
}

double c_library_value(char* start, char* end) {
  char saved = *end;
  *end = '\0';
  double v = std::strtod(start, nullptr);
  *end = saved;
  return v;
}

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// from_chars agrees with strtod on plain decimal forms (correct rounding both); it differs on
// leading blanks or "+", hex, "inf"/"nan" and out-of-range values, which all go to strtod.
bool plain_decimal_start(const char* p, const char* end) {
  if (p < end && *p == '-') {
    ++p;
  }
  return p < end && (is_digit(*p) || (*p == '.' && p + 1 < end && is_digit(p[1])));
}

}  // namespace

double read_value_fast(char* start, char* end) {
  if (plain_decimal_start(start, end)) {
    double v;
    auto [ptr, ec] = std::from_chars(start, end, v);
    if (ec == std::errc() && ptr == end) {
      return v;
    }
  }
  return c_library_value(start, end);
}

std::uint64_t real_to_count(long double v) {
  if (!(v > 0)) {
    return 0;  // negative, zero or NaN
  }
  if (v >= 18446744073709551616.0L) {
    return UINT64_MAX;
  }
  return static_cast<std::uint64_t>(v);
}

}  // namespace perflib
