// SPDX-License-Identifier: Apache-2.0
// vexil's merged CSV in memory, one vector of values per column.
//
// Rows are read with perflib's LogFile, so a header line that vexil repeats when the layout
// changes starts a new Context, and every column's kind comes from the built-in tables. Older
// layouts are upgraded to the current column names first. A column that a row's layout lacks is
// NaN in that row. Any form vexil prints is read (see input_text.h): CSV, TSV, JSON Lines, times
// in epoch seconds or ISO 8601. Rows are put in time order; when a bucket was printed twice (its
// time went backwards in an input), its later line wins.
#ifndef VEXIL_PLOT_SERIES_TABLE_H
#define VEXIL_PLOT_SERIES_TABLE_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "perflib"

namespace vexil {

struct Column {
  std::string name;
  perflib::PegType kind = perflib::PT_SUM;
  std::vector<double> values;  // one per row of the table
};

class SeriesTable {
 public:
  using Filter = std::function<bool(std::string_view name)>;

  // Reads every row of in (named name in messages) and closes it unless it is stdin, keeping
  // only the columns that wanted accepts. Throws std::runtime_error when in cannot be read or
  // holds no row with a timestamp.
  void read(FILE* in, const std::string& name, const Filter& wanted);

  // The column of that name, or null.
  const Column* find(std::string_view name) const;
  // The smallest step between two rows, or 0 with a single row.
  std::int64_t bucket_length() const;

  std::vector<std::int64_t> times;
  std::vector<Column> columns;  // in the order they were first met
  std::size_t rows_without_time = 0;

 private:
  static constexpr std::size_t NOT_KEPT = static_cast<std::size_t>(-1);

  void add_row(perflib::Record& record, const Filter& wanted);
  // Which column each field of a layout feeds; the layout read last is kept.
  void map_layout(const std::shared_ptr<perflib::Context>& layout, const Filter& wanted);
  void put_in_time_order();

  std::shared_ptr<perflib::Context> mapped_layout;
  std::vector<std::size_t> column_of_field;
};

}  // namespace vexil

#endif
