// SPDX-License-Identifier: Apache-2.0
// --strict: every line of a statistics file must be what its format says, or the run ends at the
// first that is not, with "PATH:LINE: reason". A data line has exactly as many cells as its
// header, every cell a number of its column's kind (an unsigned integer for the integer kinds, a
// finite decimal for the real ones), and a time not before the previous row's; no line holds a
// carriage return or a byte that is not text.
#ifndef VEXIL_STRICT_CHECK_H
#define VEXIL_STRICT_CHECK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vexil {

class StrictCheck {
 public:
  explicit StrictCheck(std::string path) : path(std::move(path)) {}

  // The lines that follow are those of another file of the same input (rotated history): its
  // header may come from the file before, its times start again.
  void start_file(std::string next_path) {
    path = std::move(next_path);
    any_row = false;
  }

  // A perflib::LogFile::LineCheck: throws std::runtime_error at an offence.
  void operator()(const char* line, std::size_t size, std::uint64_t number);

 private:
  [[noreturn]] void fail(std::uint64_t number, const std::string& reason) const;
  void check_byte(char c, std::uint64_t number) const;  // fails at a byte that is not text
  void read_header(const char* line, std::uint64_t number);

  std::string path;
  std::vector<std::string> names;  // of the header's columns, in order
  std::vector<bool> integer;       // whether each column holds integers
  std::size_t time_column = 0;
  std::int64_t last_time = 0;
  bool any_row = false;
};

}  // namespace vexil

#endif
