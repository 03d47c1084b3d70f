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

bool all_digits(std::string_view s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// An optional minus, digits, and optionally a point and more digits.
bool is_decimal(std::string_view s) {
  if (!s.empty() && s[0] == '-') {
    s.remove_prefix(1);
  }
  const std::size_t point = s.find('.');
  return all_digits(s.substr(0, point))
         && (point == std::string_view::npos || all_digits(s.substr(point + 1)));
}

}  // namespace

void StrictCheck::fail(std::uint64_t number, const std::string& reason) const {
  throw std::runtime_error(path + ":" + std::to_string(number) + ": " + reason);
}

void StrictCheck::operator()(const char* line, std::size_t size, std::uint64_t number) {
  const std::string_view text(line, size);
  for (const char c : text) {
    if (c == '\r') {
      fail(number, "carriage return");
    }
    if ((c >= 0 && c < ' ' && c != '\t') || c == 0x7f) {
      fail(number, "byte that is not text");
    }
  }
  if (!text.empty() && text[0] == '#') {
    read_header(line, number);
    return;
  }
  if (names.empty()) {
    fail(number, "data line before any header line");
  }
  const auto count = static_cast<std::size_t>(std::count(text.begin(), text.end(), ',')) + 1;
  if (count != names.size()) {
    fail(number,
         std::to_string(count) + " cells where the header has " + std::to_string(names.size()));
  }
  std::int64_t time = 0;
  for (std::size_t i = 0, at = 0; i < count; ++i) {
    const std::size_t comma = std::min(text.find(',', at), text.size());
    const std::string_view cell = text.substr(at, comma - at);
    if (integer[i] ? !all_digits(cell) : !is_decimal(cell)) {
      fail(number, names[i] + " is not " + (integer[i] ? "an unsigned integer" : "a decimal")
                       + ": '" + std::string(cell) + "'");
    }
    if (i == time_column
        && std::from_chars(cell.data(), cell.data() + cell.size(), time).ec != std::errc()) {
      fail(number, "time out of range: " + std::string(cell));
    }
    at = comma + 1;
  }
  if (any_row && time < last_time) {
    fail(number, "time " + std::to_string(time) + " is before the time " + std::to_string(last_time)
                     + " of the row before");
  }
  last_time = time;
  any_row = true;
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
