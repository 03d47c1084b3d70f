// SPDX-License-Identifier: Apache-2.0
#include "column_kind.h"

namespace vexil {

DrawClass draw_class(perflib::PegType kind) {
  switch (kind) {
    case perflib::PT_SUM:
      return DC_PER_SECOND;
    case perflib::PT_PERCENT:
      return DC_PERCENT;
    default:
      return DC_LEVEL;
  }
}

std::vector<double> drawn_values(const Column& column, std::int64_t bucket) {
  std::vector<double> values = column.values;
  if (draw_class(column.kind) == DC_PER_SECOND) {
    for (double& v : values) {
      v /= static_cast<double>(bucket);
    }
  }
  return values;
}

std::string kind_words(perflib::PegType kind) {
  switch (kind) {
    case perflib::PT_SUM:
      return "sum per second";
    case perflib::PT_MAX:
    case perflib::PT_PEAK:
      return "maximum";
    case perflib::PT_NOW:
      return "last value";
    case perflib::PT_RATE:
      return "average rate";
    case perflib::PT_PERCENT:
      return "average %";
    default:
      return "average";
  }
}

}  // namespace vexil
