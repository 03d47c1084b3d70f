// SPDX-License-Identifier: Apache-2.0
// Column-name patterns are perflib's (perflib_bits/column_pattern.h), the language vexil
// --columns speaks too; this name stays for the code that matches -c patterns.
#ifndef VEXIL_PLOT_WILDCARD_H
#define VEXIL_PLOT_WILDCARD_H

#include <string_view>

#include "perflib"

namespace vexil {

inline bool wildcard_match(std::string_view pattern, std::string_view text) {
  return perflib::column_pattern_match(pattern, text);
}

}  // namespace vexil

#endif
