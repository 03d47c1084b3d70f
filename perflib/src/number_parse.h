// SPDX-License-Identifier: Apache-2.0
// Internal: splitting and converting the cells of statistics lines.
//
// Lines split like strtok on the delimiters "," and "\n": a run of delimiters separates two
// tokens, so an empty cell never yields a token. Counters convert as strtoull(token, 0, 10) and
// reals as strtod(token); the common plain forms take a fast path that returns exactly what the
// C library would, and every other form goes to the C library itself.
#ifndef PERFLIB_SRC_NUMBER_PARSE_H
#define PERFLIB_SRC_NUMBER_PARSE_H

#include <cstdint>
#include <vector>

#include "perflib_bits/field.h"

namespace perflib {

inline bool is_delimiter(char c) {
  return c == ',' || c == '\n';
}

inline char* skip_delimiters(char* p) {
  while (is_delimiter(*p)) {
    ++p;
  }
  return p;
}

// The end of the token starting at p: the next delimiter or the terminating NUL.
inline char* token_end(char* p) {
  while (*p != '\0' && !is_delimiter(*p)) {
    ++p;
  }
  return p;
}

// The C library's conversions of the token [start, end); *end may be written and is restored.
std::uint64_t c_library_count(char* start, char* end);
double c_library_value(char* start, char* end);

// Converts the token starting at p and moves p to the character that ends it.
inline std::uint64_t read_count(char*& p) {
  char* start = p;
  std::uint64_t v = 0;
  unsigned digits = 0;
  while (static_cast<unsigned char>(*p - '0') < 10) {
    v = v * 10 + static_cast<unsigned>(*p - '0');
    ++p;
    ++digits;
  }
  if (digits - 1 < 19 && (*p == '\0' || is_delimiter(*p))) {
    return v;  // 1 to 19 plain digits cannot overflow
  }
  p = token_end(p);
  return c_library_count(start, p);
}

double read_value_fast(char* start, char* end);

inline double read_value(char*& p) {
  char* start = p;
  p = token_end(p);
  return read_value_fast(start, p);
}

// Converts the cells of a data line by the kinds of fields, in order: count(i, value) for an
// integer column, real(i, value) for a real one, up to the last field. Returns how many cells
// were read; more (when given) tells whether the line has cells past the last field.
template <class Count, class Real>
std::size_t convert_cells(const std::vector<Field>& fields, char* line, bool* more, Count&& count,
                          Real&& real) {
  const std::size_t n = fields.size();
  std::size_t i = 0;
  char* p = skip_delimiters(line);
  for (; i < n && *p != '\0'; ++i, p = skip_delimiters(p)) {
    if (is_integer(fields[i].type)) {
      count(i, read_count(p));
    } else {
      real(i, read_value(p));
    }
  }
  if (more != nullptr) {
    *more = *p != '\0';
  }
  return i;
}

// Converts a real the way the setters of counter columns do: NaN and negatives give 0, values
// beyond the range give the largest counter, others are truncated.
std::uint64_t real_to_count(long double v);

}  // namespace perflib

#endif
