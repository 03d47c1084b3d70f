// SPDX-License-Identifier: Apache-2.0
// The merged lines in the forms the long options choose: only the columns some --columns
// pattern names (the time column always, and first), the time in epoch seconds or ISO 8601 UTC,
// as CSV, TSV or JSON Lines. Values are formatted only for the columns chosen, each as the plain
// CSV prints it. The plain CSV of every column is Record::print_csv's own, not this.
//
// CSV and TSV print a header line whenever the names chosen differ from those of the line
// before ('#' and the names; in TSV a tab inside a name shows as a space). A JSON line is one
// object whose keys are the names in column order: '"', '\' and the control characters are
// escaped, and each byte that is not part of valid UTF-8 becomes \u00XX, the character of that
// byte's value. A value that is not finite (nan, inf) is null in JSON.
#ifndef VEXIL_RECORD_WRITER_H
#define VEXIL_RECORD_WRITER_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "perflib"

namespace vexil {

enum class OutputFormat { kCsv, kTsv, kJsonl };
enum class TimeFormat { kEpoch, kIso };

class RecordWriter {
 public:
  RecordWriter(OutputFormat format, TimeFormat time_format, std::vector<std::string> patterns);
  ~RecordWriter() = default;
  RecordWriter(const RecordWriter&) = delete;
  RecordWriter& operator=(const RecordWriter&) = delete;

  // Writes record as one line (and a header line before it when the names change), with one
  // fwrite.
  void write(FILE* out, const perflib::Record& record);
  // At the end of the merge: throws std::runtime_error naming, one line each, the patterns that
  // matched no column printed, unless no line was written at all.
  void check_patterns() const;

 private:
  void choose_columns(const perflib::Record& record);
  void append_time(const perflib::Record& record, std::uint32_t i);

  OutputFormat format;
  TimeFormat time_format;
  std::vector<std::string> patterns;  // empty: every column, in the order print_csv has them
  std::vector<bool> matched;          // by pattern

  bool chosen = false;                        // the columns below were chosen for a layout:
  std::uint32_t layout_version = 0;           // its version
  std::vector<perflib::Field> layout_fields;  // and its fields then
  std::vector<std::uint32_t> columns;         // positions chosen, in output order
  std::uint32_t time_at = perflib::NO_INDEX;
  std::string header;             // "#a,b\n" (CSV, TSV)
  std::vector<std::string> keys;  // "{\"a\":", ",\"b\":" (JSON Lines)
  std::string printed_header;     // the header line printed last
  std::string line;
};

// name as a JSON string, quotes included (appended to out).
void append_json_string(std::string& out, std::string_view name);

}  // namespace vexil

#endif
