// SPDX-License-Identifier: Apache-2.0
// Internal: the columns a header line would give, without making its layout.
//
// Making a layout from a header line registers things in the built-in tables (instances of
// wildcard columns, derived-column plans and the transforms they bring), which changes how
// later header lines and upgrades read. A reader that runs ahead of the merge must not change
// them before the merge reaches that line, so it takes a preview: the same layout version and
// the same column names and kinds, as the tables stand now, with nothing registered.
#ifndef PERFLIB_SRC_LAYOUT_PREVIEW_H
#define PERFLIB_SRC_LAYOUT_PREVIEW_H

#include <memory>

#include "perflib_bits/context.h"

namespace perflib {

// header: the line, "#" first, up to its NUL. The result has no index: read its fields only.
std::shared_ptr<const Context> preview_layout(const char* header);

}  // namespace perflib

#endif
