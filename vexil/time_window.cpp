// SPDX-License-Identifier: Apache-2.0
#include "time_window.h"

#include <charconv>
#include <stdexcept>

namespace vexil {

namespace {

// Days from 1970-01-01 to the given date of the proleptic Gregorian calendar.
std::int64_t days_from_civil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

bool leap(std::int64_t y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

// Reads exactly n digits at p as a number; false when they are not there.
bool digits(const char*& p, const char* end, int n, int& value) {
  if (end - p < n) {
    return false;
  }
  const auto [stop, error] = std::from_chars(p, p + n, value);
  if (error != std::errc() || stop != p + n) {
    return false;
  }
  p += n;
  return true;
}

bool expect(const char*& p, const char* end, char c) {
  if (p == end || *p != c) {
    return false;
  }
  ++p;
  return true;
}

bool parse_iso(const char* p, const char* end, std::int64_t& result) {
  int year, month, day, hour = 0, minute = 0, second = 0;
  if (!digits(p, end, 4, year) || !expect(p, end, '-') || !digits(p, end, 2, month)
      || !expect(p, end, '-') || !digits(p, end, 2, day)) {
    return false;
  }
  static const int month_days[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12 || day < 1 || day > month_days[month - 1]
      || (month == 2 && day == 29 && !leap(year))) {
    return false;
  }
  if (p != end && (*p == 'T' || *p == ' ')) {
    ++p;
    if (!digits(p, end, 2, hour) || !expect(p, end, ':') || !digits(p, end, 2, minute)) {
      return false;
    }
    if (p != end && *p == ':') {
      ++p;
      if (!digits(p, end, 2, second)) {
        return false;
      }
    }
    if (hour > 23 || minute > 59 || second > 60) {
      return false;
    }
  }
  int offset = 0;  // seconds east of UTC
  if (p != end && *p == 'Z') {
    ++p;
  } else if (p != end && (*p == '+' || *p == '-')) {
    const int sign = *p++ == '-' ? -1 : 1;
    int zone_hours, zone_minutes = 0;
    if (!digits(p, end, 2, zone_hours)) {
      return false;
    }
    if (p != end) {
      p += *p == ':';
      if (!digits(p, end, 2, zone_minutes)) {
        return false;
      }
    }
    if (zone_hours > 23 || zone_minutes > 59) {
      return false;
    }
    offset = sign * (zone_hours * 3600 + zone_minutes * 60);
  }
  if (p != end) {
    return false;
  }
  result = days_from_civil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) * 86400
           + hour * 3600 + minute * 60 + second - offset;
  return true;
}

}  // namespace

std::int64_t parse_time(const std::string& text, const char* option) {
  const char* begin = text.data();
  const char* end = begin + text.size();
  std::int64_t result = 0;
  const auto [stop, error] = std::from_chars(begin, end, result);
  if (!text.empty() && error == std::errc() && stop == end) {
    return result;
  }
  if (parse_iso(begin, end, result)) {
    return result;
  }
  throw std::runtime_error(std::string("Invalid time for --") + option + ": " + text);
}

}  // namespace vexil
