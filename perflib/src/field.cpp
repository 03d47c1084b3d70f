// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/field.h"

namespace perflib {

Field::Field(std::shared_ptr<std::string> name, std::shared_ptr<std::string> label, PegType type)
    : name(std::move(name)), label(std::move(label)), type(type) {}

Field::Field(std::string_view name, std::string_view label, PegType type)
    : name(std::make_shared<std::string>(name)),
      label(std::make_shared<std::string>(label)),
      type(type) {}

Field::Field(std::string_view text, PegType type)
    : name(std::make_shared<std::string>(text)), label(name), type(type) {}

Field::~Field() = default;

namespace {

bool same_text(const std::shared_ptr<std::string>& a, const std::shared_ptr<std::string>& b) {
  if (a == b) {
    return true;
  }
  return a && b && *a == *b;
}

}  // namespace

bool operator==(const Field& a, const Field& b) {
  if (&a == &b) {
    return true;
  }
  return a.type == b.type && same_text(a.name, b.name) && same_text(a.label, b.label);
}

}  // namespace perflib
