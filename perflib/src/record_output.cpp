// SPDX-License-Identifier: Apache-2.0
// Printing records: CSV header and rows (what the merge tool writes), the formatted block and the
// average/min/max report. Reals print with %Lg and counters with %lu; a counter column that
// collapse() averaged holds a real and prints as one.
#include <cinttypes>
#include <cstring>
#include <ctime>
#include <string_view>

#include "perflib_bits/record.h"

namespace perflib {

namespace {

// Columns of the current layout with PegType 0 are not written.
bool hidden(const Context& c, std::size_t i) {
  return c.version == LV_TRELK_3 && c.fields[i].type == PT_PEAK;
}

void print_peg(FILE* out, const Record& r, std::uint32_t i, const char* real, const char* count) {
  if (r.holds_value(i)) {
    std::fprintf(out, real, r.value_at(i));
  } else {
    std::fprintf(out, count, static_cast<unsigned long>(r.count_at(i)));
  }
}

}  // namespace

bool Record::printed(std::uint32_t i) const {
  return !hidden(*context, i);
}

std::string_view Record::printed_name(std::uint32_t i) const {
  const std::string* name = context->fields[i].name.get();
  if (name == nullptr) {
    return {};
  }
  const std::string_view text = *name;
  return text.substr(0, text.find("_DUPLICATE"));  // a repeated column prints its own name
}

int Record::format_value(std::uint32_t i, char* buffer, std::size_t size) const {
  if (holds_value(i)) {
    return std::snprintf(buffer, size, "%Lg", value_at(i));
  }
  return std::snprintf(buffer, size, "%lu", static_cast<unsigned long>(count_at(i)));
}

void Record::print_csv_header(FILE* out, const RecordPtr& previous) {
  if (previous && *previous->context == *context) {
    return;
  }
  const Context& c = *context;
  bool first = true;
  for (std::uint32_t i = 0; i < c.fields.size(); ++i) {
    if (hidden(c, i)) {
      continue;
    }
    std::fputc(first ? '#' : ',', out);
    first = false;
    const std::string_view text = printed_name(i);
    std::fwrite(text.data(), 1, text.size(), out);
  }
  std::fputc('\n', out);
}

void Record::print_csv(FILE* out) {
  const Context& c = *context;
  for (std::uint32_t i = 0; i < c.fields.size(); ++i) {
    if (hidden(c, i)) {
      continue;
    }
    if (i != 0) {
      std::fputc(',', out);  // deliberate: the test is on the position, as it always was
    }
    print_peg(out, *this, i, "%Lg", "%lu");
  }
  std::fputc('\n', out);
}

void Record::print_formatted(FILE* out, bool utc) {
  std::time_t t = static_cast<std::time_t>(get_time());
  if (utc) {
    char buffer[40];
    std::tm broken{};
    if (gmtime_r(&t, &broken) != nullptr
        && std::strftime(buffer, sizeof buffer, "%a, %d %b %Y %H:%M:%S %Z", &broken) != 0) {
      std::fprintf(out, "%s\n", buffer);
    }
  } else {
    char buffer[32];
    if (ctime_r(&t, buffer) != nullptr) {
      std::fprintf(out, "%s", buffer);
    }
  }
  const Context& c = *context;
  const auto width = static_cast<int>(c.width);
  for (std::uint32_t i = 0; i < pegs.size() && i < c.fields.size(); ++i) {
    const std::string* label = c.fields[i].label.get();
    std::fprintf(out, "%*s: ", width, label != nullptr ? label->c_str() : "");
    print_peg(out, *this, i, "%Lg\n", "%lu\n");
  }
  std::fputc('\n', out);
}

void print_report(FILE* out, const RecordPtr& average, const RecordPtr& minimum,
                  const RecordPtr& maximum) {
  const Context& c = *average->get_context();
  const auto width = static_cast<int>(c.width);
  std::fprintf(out, "%*s  %20s %20s %20s\n", width, "", "Average", "Min", "Max");
  const std::size_t n = average->get_pegs().size();
  for (std::uint32_t i = 0; i < n && i < c.fields.size(); ++i) {
    const Field& field = c.fields[i];
    if (field.type == PT_TIME) {
      continue;
    }
    std::fprintf(out, "%*s: ", width, field.label ? field.label->c_str() : "");
    if (!is_integer(field.type)) {
      std::fprintf(out, "%20Lg %20Lg %20Lg\n", average->value_at(i), minimum->value_at(i),
                   maximum->value_at(i));
    } else {
      std::fprintf(out, "%20Lg %20lu %20lu\n", average->value_at(i),
                   static_cast<unsigned long>(minimum->count_at(i)),
                   static_cast<unsigned long>(maximum->count_at(i)));
    }
  }
  std::fputc('\n', out);
}

}  // namespace perflib
