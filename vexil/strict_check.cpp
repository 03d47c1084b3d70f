// SPDX-License-Identifier: Apache-2.0
#include "strict_check.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>

#include "perflib"

namespace vexil {

namespace {

std::vector<std::string_view> cells(std::string_view text) {
  std::vector<std::string_view> result;
  for (std::size_t at = 0;;) {
    const std::size_t comma = text.find(',', at);
    result.push_back(text.substr(at, comma - at));
    if (comma == std::string_view::npos) {
      return result;
    }
    at = comma + 1;
  }
}

bool is_digit(char c) {
  return static_cast<unsigned char>(c - '0') < 10;
}

}  // namespace

void StrictCheck::fail(std::uint64_t number, const std::string& reason) const {
  throw std::runtime_error(path + ":" + std::to_string(number) + ": " + reason);
}

void StrictCheck::operator()(const char* line, std::size_t size, std::uint64_t number) {
  const std::string_view text(line, size);
  if (!text.empty() && text[0] == '#') {
    for (const char c : text) {
      check_byte(c, number);
    }
    read_header(line, number);
    return;
  }
  // One pass over the bytes, cell by cell: an optional minus, digits, a point and digits, then
  // whatever else the cell holds. A byte that is not text wins over any other fault of the line,
  // so the first cell that is not a number of its kind is only remembered until the line's end.
  std::size_t cell = 0, bad = SIZE_MAX;
  std::string_view bad_text, time_text;
  for (const char *p = line, *end = line + size;; ++p) {
    const char* start = p;
    const bool minus = p < end && *p == '-';
    p += minus ? 1 : 0;
    const char* digits = p;
    while (p < end && is_digit(*p)) {
      ++p;
    }
    const bool whole = p > digits;
    const bool point = p < end && *p == '.';
    bool fraction = false;
    if (point) {
      for (++p; p < end && is_digit(*p); ++p) {
        fraction = true;
      }
    }
    bool odd = false;
    for (; p < end && *p != ','; ++p) {
      check_byte(*p, number);
      odd = true;
    }
    const bool number_of_kind = cell < integer.size()
                                && (integer[cell] ? whole && !minus && !point && !odd
                                                  : whole && !odd && (!point || fraction));
    if (bad == SIZE_MAX && cell < integer.size() && !number_of_kind) {
      bad = cell;
      bad_text = std::string_view(start, static_cast<std::size_t>(p - start));
    }
    if (cell == time_column) {
      time_text = std::string_view(start, static_cast<std::size_t>(p - start));
    }
    ++cell;
    if (p == end) {
      break;
    }
  }
  if (names.empty()) {
    fail(number, "data line before any header line");
  }
  if (cell != names.size()) {
    fail(number,
         std::to_string(cell) + " cells where the header has " + std::to_string(names.size()));
  }
  // The cells in order: the first that is not a number of its kind, or a time out of range.
  std::int64_t time = 0;
  if ((bad == SIZE_MAX || time_column < bad)
      && std::from_chars(time_text.data(), time_text.data() + time_text.size(), time).ec
             != std::errc()) {
    fail(number, "time out of range: " + std::string(time_text));
  }
  if (bad != SIZE_MAX) {
    fail(number, names[bad] + " is not " + (integer[bad] ? "an unsigned integer" : "a decimal")
                     + ": '" + std::string(bad_text) + "'");
  }
  if (any_row && time < last_time) {
    fail(number, "time " + std::to_string(time) + " is before the time " + std::to_string(last_time)
                     + " of the row before");
  }
  last_time = time;
  any_row = true;
}

void StrictCheck::check_byte(char c, std::uint64_t number) const {
  if (c == '\r') {
    fail(number, "carriage return");
  }
  if ((c >= 0 && c < ' ' && c != '\t') || c == 0x7f) {
    fail(number, "byte that is not text");
  }
}

void StrictCheck::read_header(const char* line, std::uint64_t number) {
  std::string copy(line);
  const perflib::Context layout(copy.data());
  names.clear();
  integer.clear();
  for (const std::string_view name : cells(std::string_view(line).substr(1))) {
    const std::uint32_t at = layout.find(name);
    names.emplace_back(name);
    integer.push_back(at == perflib::NO_INDEX || perflib::is_integer(layout.fields[at].type));
  }
  const std::uint32_t time = layout.time_index();
  const auto found = time == perflib::NO_INDEX
                         ? names.end()
                         : std::find(names.begin(), names.end(), *layout.fields[time].name);
  if (found == names.end()) {
    fail(number, "header without a time column");
  }
  time_column = static_cast<std::size_t>(found - names.begin());
}

}  // namespace vexil
