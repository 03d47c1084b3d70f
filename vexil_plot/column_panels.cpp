// SPDX-License-Identifier: Apache-2.0
#include "column_panels.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>

#include "column_kind.h"
#include "wildcard.h"

namespace vexil {

namespace {

// By DrawClass: the note after the title.
const std::array<const char*, 3> class_notes = {
    "bucket sums per second",
    "levels of each bucket as merged",
    "averages of each bucket",
};

}  // namespace

std::vector<Panel> column_panels(const SeriesTable& table, const std::vector<std::string>& patterns,
                                 std::int64_t bucket) {
  std::vector<Panel> panels;
  for (const std::string& pattern : patterns) {
    // One panel per draw class and unit, in that order, each in the order of its columns.
    std::array<std::vector<Panel>, 3> by_class;
    for (std::size_t k = 0; k < table.columns.size(); ++k) {
      const Column& column = table.columns[k];
      if (!wildcard_match(pattern, column.name)) {
        continue;
      }
      const DrawClass c = draw_class(column.kind);
      const std::string unit = column_unit(column.name, column.kind);
      auto panel = std::find_if(by_class[c].begin(), by_class[c].end(),
                                [&](const Panel& p) { return p.y_label == unit; });
      if (panel == by_class[c].end()) {
        panel = by_class[c].insert(by_class[c].end(), Panel{pattern, unit, class_notes[c], {}});
      }
      panel->series.push_back(Series{column.name + " (" + kind_words(column.kind) + ")",
                                     palette_colour(k), drawn_values(column, bucket)});
    }
    const std::size_t before = panels.size();
    for (std::vector<Panel>& in_class : by_class) {
      std::move(in_class.begin(), in_class.end(), std::back_inserter(panels));
    }
    if (panels.size() == before) {
      throw std::runtime_error("-c: no column matches '" + pattern + "'");
    }
  }
  return panels;
}

}  // namespace vexil
