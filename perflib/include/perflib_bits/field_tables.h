// SPDX-License-Identifier: Apache-2.0
// The built-in column tables of the three file layouts and the transforms between them.
//
// Layouts: 1 supplemental drops ("#time,sdrops"), 2 the older engine, 3 the current engine. A
// record of an old layout is upgraded one step at a time: next_transform[n] renames the columns
// of layout n to those of layout n+1.
#ifndef PERFLIB_BITS_FIELD_TABLES_H
#define PERFLIB_BITS_FIELD_TABLES_H

#include <utility>
#include <vector>

#include "export.h"
#include "field_map.h"

namespace perflib {

// (older field, newer field); both point into the maps below.
using Transform = std::vector<std::pair<Field*, Field*>>;

PERFLIB_EXPORT extern FieldMap sdrop_fields;
PERFLIB_EXPORT extern FieldMap trelk_2_fields;
PERFLIB_EXPORT extern FieldMap trelk_3_fields;
PERFLIB_EXPORT extern std::vector<FieldMap*> rf_to_field_map;  // by layout; [0] is null
PERFLIB_EXPORT extern Transform empty_transform;
PERFLIB_EXPORT extern Transform sdrop_to_trelk_2;
PERFLIB_EXPORT extern Transform trelk_2_to_trelk_3;
PERFLIB_EXPORT extern std::vector<Transform*> next_transform;  // by layout, 0 to 2

}  // namespace perflib

#endif
