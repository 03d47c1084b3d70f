// SPDX-License-Identifier: Apache-2.0
#include "column_panels.h"

#include <array>
#include <stdexcept>

#include "column_kind.h"
#include "wildcard.h"

namespace vexil {

namespace {

// By DrawClass: the y label, and the note after the title.
const std::array<std::array<const char*, 2>, 3> class_labels = {{
    {"per second", "bucket sums per second"},
    {"level", "levels of each bucket as merged"},
    {"%", "averages of each bucket"},
}};

}  // namespace

std::vector<Panel> column_panels(const SeriesTable& table, const std::vector<std::string>& patterns,
                                 std::int64_t bucket) {
  std::vector<Panel> panels;
  for (const std::string& pattern : patterns) {
    std::array<Panel, 3> by_class;
    for (std::size_t k = 0; k < table.columns.size(); ++k) {
      const Column& column = table.columns[k];
      if (!wildcard_match(pattern, column.name)) {
        continue;
      }
      Panel& panel = by_class[draw_class(column.kind)];
      panel.series.push_back(Series{column.name + " (" + kind_words(column.kind) + ")",
                                    palette_colour(k), drawn_values(column, bucket)});
    }
    bool matched = false;
    for (std::size_t c = 0; c < by_class.size(); ++c) {
      if (!by_class[c].series.empty()) {
        by_class[c].title = pattern;
        by_class[c].y_label = class_labels[c][0];
        by_class[c].note = class_labels[c][1];
        panels.push_back(std::move(by_class[c]));
        matched = true;
      }
    }
    if (!matched) {
      throw std::runtime_error("no column matches -c " + pattern);
    }
  }
  return panels;
}

}  // namespace vexil
