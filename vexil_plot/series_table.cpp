// SPDX-License-Identifier: Apache-2.0
#include "series_table.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <stdexcept>

#include "input_text.h"

namespace vexil {

namespace {

constexpr double MISSING = std::numeric_limits<double>::quiet_NaN();

// A row in the current layout, to which rows of older layouts are upgraded.
perflib::RecordPtr current_layout_anchor() {
  char header[] = "#timestamp\n";
  return std::make_shared<perflib::Record>(std::make_shared<perflib::Context>(header), nullptr);
}

double value_of(const perflib::Record& record, std::uint32_t i) {
  return record.holds_value(i) ? static_cast<double>(record.value_at(i))
                               : static_cast<double>(record.count_at(i));
}

}  // namespace

void SeriesTable::read(FILE* in, const std::string& name, const Filter& wanted) {
  std::string text;
  char block[65536];
  for (std::size_t n; (n = std::fread(block, 1, sizeof block, in)) > 0;) {
    text.append(block, n);
  }
  if (std::ferror(in)) {
    const int error = errno;
    if (in != stdin) {
      std::fclose(in);
    }
    throw std::runtime_error("cannot read " + name + ": " + std::strerror(error));
  }
  if (in != stdin) {
    std::fclose(in);
  }
  text = as_epoch_csv(text);
  if (!text.empty()) {
    perflib::LogFile log(fmemopen(text.data(), text.size(), "r"), false);
    const perflib::RecordPtr anchor = current_layout_anchor();
    for (perflib::RecordPtr record; (record = log.read_next());) {
      if (record->context->version != perflib::LV_NONE
          && record->context->version < perflib::LV_TRELK_3) {
        record->match_context(anchor);
      }
      add_row(*record, wanted);
    }
  }
  if (times.empty()) {
    throw std::runtime_error(rows_without_time == 0 ? "no data rows in the input"
                                                    : "no timestamp column in the input");
  }
  put_in_time_order();
}

void SeriesTable::add_row(perflib::Record& record, const Filter& wanted) {
  const perflib::Context& layout = *record.context;
  const std::uint32_t time_at = layout.time_index();
  const std::int64_t time = time_at == perflib::NO_INDEX ? 0 : record.get_time();
  if (time <= 0) {
    ++rows_without_time;
    return;
  }
  if (record.context != mapped_layout) {
    map_layout(record.context, wanted);
  }
  times.push_back(time);
  for (Column& column : columns) {
    column.values.push_back(MISSING);
  }
  for (std::uint32_t i = 0; i < column_of_field.size(); ++i) {
    if (column_of_field[i] != NOT_KEPT) {
      columns[column_of_field[i]].values.back() = value_of(record, i);
    }
  }
}

void SeriesTable::map_layout(const std::shared_ptr<perflib::Context>& layout,
                             const Filter& wanted) {
  mapped_layout = layout;
  column_of_field.assign(layout->fields.size(), NOT_KEPT);
  for (std::uint32_t i = 0; i < layout->fields.size(); ++i) {
    const std::string& name = *layout->fields[i].name;
    if (i == layout->time_index() || !wanted(name)) {
      continue;
    }
    auto it = std::find_if(columns.begin(), columns.end(),
                           [&](const Column& c) { return c.name == name; });
    if (it == columns.end()) {
      columns.push_back(
          Column{name, layout->fields[i].type, std::vector<double>(times.size(), MISSING)});
      it = columns.end() - 1;
    }
    column_of_field[i] = static_cast<std::size_t>(it - columns.begin());
  }
}

void SeriesTable::put_in_time_order() {
  std::vector<std::size_t> order(times.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return times[a] < times[b]; });
  std::vector<std::size_t> kept;  // the last line of each time
  for (std::size_t k = 0; k < order.size(); ++k) {
    if (k + 1 == order.size() || times[order[k + 1]] != times[order[k]]) {
      kept.push_back(order[k]);
    }
  }
  if (kept.size() == order.size() && std::is_sorted(kept.begin(), kept.end())) {
    return;
  }
  auto pick = [&](auto& values) {
    std::remove_reference_t<decltype(values)> picked;
    picked.reserve(kept.size());
    for (std::size_t k : kept) {
      picked.push_back(values[k]);
    }
    values = std::move(picked);
  };
  pick(times);
  for (Column& column : columns) {
    pick(column.values);
  }
}

const Column* SeriesTable::find(std::string_view name) const {
  for (const Column& column : columns) {
    if (column.name == name) {
      return &column;
    }
  }
  return nullptr;
}

std::int64_t SeriesTable::bucket_length() const {
  std::int64_t step = 0;
  for (std::size_t i = 1; i < times.size(); ++i) {
    const std::int64_t d = times[i] - times[i - 1];
    if (step == 0 || d < step) {
      step = d;
    }
  }
  return step;
}

}  // namespace vexil
