// SPDX-License-Identifier: Apache-2.0
// The column dictionary of one file layout (see WildcardMap for the pattern rules).
#ifndef PERFLIB_BITS_FIELD_MAP_H
#define PERFLIB_BITS_FIELD_MAP_H

#include "field.h"
#include "wildcard_map.h"

namespace perflib {

extern template class WildcardMap<Field>;

// Adds no member to WildcardMap<Field>: frozen with it.
class PERFLIB_EXPORT FieldMap : public WildcardMap<Field> {
 public:
  using WildcardMap<Field>::WildcardMap;
  std::list<std::string*> get_regex_fields(Field& f) override;  // name, then label
  Field deep_copy(Field& f) override;
  // The field registered under exactly this name (no pattern matching), or null.
  Field* find(std::string_view name);
};

}  // namespace perflib

#endif
