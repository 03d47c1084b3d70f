// SPDX-License-Identifier: Apache-2.0
// Column-name patterns, the one language in which vexil --columns and vexil-plot -c choose
// columns: "*" matches any run of characters (none too), every other character only itself, so
// "stats.usr[0]" names the column of that name. A list of patterns is comma-separated.
//
// The built-in field maps have wildcards of their own (WildcardMap, regex rules); those name
// per-instance columns of a layout and are another thing.
#ifndef PERFLIB_BITS_COLUMN_PATTERN_H
#define PERFLIB_BITS_COLUMN_PATTERN_H

#include <string>
#include <string_view>
#include <vector>

#include "export.h"

namespace perflib {

PERFLIB_EXPORT bool column_pattern_match(std::string_view pattern, std::string_view name);

// The patterns of a comma-separated list, in order; empty items are left out.
PERFLIB_EXPORT std::vector<std::string> split_column_patterns(std::string_view list);

}  // namespace perflib

#endif
