// SPDX-License-Identifier: Apache-2.0
// A column: its name in a file header, its display label and its PegType. Both strings are
// shared, so copying a Field is cheap and copies share the text.
#ifndef PERFLIB_BITS_FIELD_H
#define PERFLIB_BITS_FIELD_H

#include <memory>
#include <string>
#include <string_view>

#include "export.h"
#include "peg_type.h"

namespace perflib {

// A plain value, frozen for the life of the soname (perflib/abi).
struct PERFLIB_EXPORT Field {
  std::shared_ptr<std::string> name;   // header column name; key in field maps and transforms
  std::shared_ptr<std::string> label;  // display label
  PegType type = PT_NONE;

  Field() = default;
  Field(std::shared_ptr<std::string> name, std::shared_ptr<std::string> label, PegType type);
  Field(std::string_view name, std::string_view label, PegType type);
  // One string object serves as both name and label.
  Field(std::string_view text, PegType type);
  ~Field();

  Field(const Field&) = default;
  Field(Field&&) noexcept = default;
  Field& operator=(const Field&) = default;
  Field& operator=(Field&&) noexcept = default;
};

// Same object, or equal type, then equal name, then equal label (tested in that order).
PERFLIB_EXPORT bool operator==(const Field& a, const Field& b);
inline bool operator!=(const Field& a, const Field& b) {
  return !(a == b);
}

}  // namespace perflib

#endif
