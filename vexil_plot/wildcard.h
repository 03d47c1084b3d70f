// SPDX-License-Identifier: Apache-2.0
// Column-name patterns: "*" matches any run of characters, every other character only itself
// (so "stats.usr[0]" names the column of that name).
#ifndef VEXIL_PLOT_WILDCARD_H
#define VEXIL_PLOT_WILDCARD_H

#include <string_view>
#include <vector>

namespace vexil {

bool wildcard_match(std::string_view pattern, std::string_view text);
bool any_wildcard_match(const std::vector<std::string_view>& patterns, std::string_view text);

}  // namespace vexil

#endif
