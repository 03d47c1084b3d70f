// SPDX-License-Identifier: Apache-2.0
#include "wildcard.h"

#include <algorithm>

namespace vexil {

bool wildcard_match(std::string_view pattern, std::string_view text) {
  // Greedy match with one backtrack point: the last "*" seen and where its run ends in text.
  std::size_t p = 0, t = 0, star = std::string_view::npos, resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
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

bool any_wildcard_match(const std::vector<std::string_view>& patterns, std::string_view text) {
  return std::any_of(patterns.begin(), patterns.end(),
                     [&](std::string_view p) { return wildcard_match(p, text); });
}

}  // namespace vexil
