// SPDX-License-Identifier: Apache-2.0
// The process-wide tables, defined in this one file so that they are built in this order before
// main and destroyed in the reverse order at exit: each one reads those above it, and building
// the calc plans adds rows to trelk_3_fields and pairs to trelk_2_to_trelk_3.
#include "builtin_tables.h"

namespace perflib {

FieldMap sdrop_fields = make_sdrop_fields();
FieldMap trelk_2_fields = make_trelk_2_fields();
FieldMap trelk_3_fields = make_trelk_3_fields();
std::vector<FieldMap*> rf_to_field_map{nullptr, &sdrop_fields, &trelk_2_fields, &trelk_3_fields};
Transform empty_transform;
Transform sdrop_to_trelk_2 = make_sdrop_to_trelk_2();
Transform trelk_2_to_trelk_3 = make_trelk_2_to_trelk_3();
std::vector<Transform*> next_transform{&empty_transform, &sdrop_to_trelk_2, &trelk_2_to_trelk_3};
std::vector<CalcPlan> calc_plans = make_calc_plans();

}  // namespace perflib
