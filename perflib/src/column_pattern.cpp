// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/column_pattern.h"

namespace perflib {

bool column_pattern_match(std::string_view pattern, std::string_view name) {
  // Greedy match with one backtrack point: the last "*" seen and where its run ends in name.
  std::size_t p = 0, t = 0, star = std::string_view::npos, resume = 0;
  while (t < name.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && pattern[p] == name[t]) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') {
    ++p;
  }
  return p == pattern.size();
}

std::vector<std::string> split_column_patterns(std::string_view list) {
  std::vector<std::string> patterns;
  for (std::size_t start = 0; start <= list.size();) {
    std::size_t comma = list.find(',', start);
    if (comma == std::string_view::npos) {
      comma = list.size();
    }
    if (comma > start) {
      patterns.emplace_back(list.substr(start, comma - start));
    }
    start = comma + 1;
  }
  return patterns;
}

}  // namespace perflib
