// SPDX-License-Identifier: Apache-2.0
// Internal: the builders of the built-in tables, called in order by builtin_tables.cpp.
#ifndef PERFLIB_SRC_BUILTIN_TABLES_H
#define PERFLIB_SRC_BUILTIN_TABLES_H

#include <cstddef>
#include <vector>

#include "perflib_bits/calc_plan.h"
#include "perflib_bits/field_tables.h"

namespace perflib {

// A row of the current layout's table; source names the older layout's column it is carried
// over from (null when it has none). A null label means the name serves as label.
struct Trelk3Row {
  const char* name;
  const char* label;
  PegType type;
  const char* source;
};

constexpr std::size_t TRELK_3_ROW_COUNT = 87;
extern const Trelk3Row trelk_3_rows[TRELK_3_ROW_COUNT];

FieldMap make_sdrop_fields();
FieldMap make_trelk_2_fields();
FieldMap make_trelk_3_fields();  // reads trelk_2_fields
Transform make_sdrop_to_trelk_2();
Transform make_trelk_2_to_trelk_3();
std::vector<CalcPlan> make_calc_plans();  // registers into trelk_3_fields, trelk_2_to_trelk_3

}  // namespace perflib

#endif
