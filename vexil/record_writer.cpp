// SPDX-License-Identifier: Apache-2.0
#include "record_writer.h"

#include <algorithm>
#include <ctime>
#include <stdexcept>
#include <string>

namespace vexil {

namespace {

// Length of the valid UTF-8 sequence at the start of s, or 0.
std::size_t utf8_length(std::string_view s) {
  const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(s[k]); };
  const unsigned char b = byte(0);
  std::size_t n = 0;
  unsigned char low = 0x80, high = 0xBF;  // the allowed range of the second byte
  if (b < 0x80) {
    return 1;
  } else if (b >= 0xC2 && b <= 0xDF) {
    n = 2;
  } else if (b >= 0xE0 && b <= 0xEF) {
    n = 3;
    low = b == 0xE0 ? 0xA0 : 0x80;   // no overlong forms
    high = b == 0xED ? 0x9F : 0xBF;  // no surrogates
  } else if (b >= 0xF0 && b <= 0xF4) {
    n = 4;
    low = b == 0xF0 ? 0x90 : 0x80;
    high = b == 0xF4 ? 0x8F : 0xBF;  // nothing past U+10FFFF
  } else {
    return 0;
  }
  if (s.size() < n || byte(1) < low || byte(1) > high) {
    return 0;
  }
  for (std::size_t k = 2; k < n; ++k) {
    if (byte(k) < 0x80 || byte(k) > 0xBF) {
      return 0;
    }
  }
  return n;
}

void append_escaped_byte(std::string& out, unsigned char b) {
  static const char hex[] = "0123456789abcdef";
  out += "\\u00";
  out += hex[b >> 4];
  out += hex[b & 15];
}

}  // namespace

void append_json_string(std::string& out, std::string_view name) {
  out += '"';
  for (std::size_t k = 0; k < name.size();) {
    const unsigned char b = static_cast<unsigned char>(name[k]);
    if (b == '"' || b == '\\') {
      out += '\\';
      out += static_cast<char>(b);
      ++k;
    } else if (b < 0x20 || b == 0x7F) {
      append_escaped_byte(out, b);
      ++k;
    } else if (const std::size_t n = utf8_length(name.substr(k)); n != 0) {
      out.append(name.substr(k, n));
      k += n;
    } else {
      append_escaped_byte(out, b);
      ++k;
    }
  }
  out += '"';
}

RecordWriter::RecordWriter(OutputFormat format, TimeFormat time_format,
                           std::vector<std::string> patterns)
    : format(format),
      time_format(time_format),
      patterns(std::move(patterns)),
      matched(this->patterns.size(), false) {}

void RecordWriter::check_patterns() const {
  if (!chosen) {
    return;  // with no line written (an empty window), no column is known not to exist
  }
  std::string message;
  for (std::size_t k = 0; k < patterns.size(); ++k) {
    if (!matched[k]) {
      message += (message.empty() ? "" : "\n");
      message += "vexil: --columns: no column matches '" + patterns[k] + "'";
    }
  }
  if (!message.empty()) {
    throw std::runtime_error(message);
  }
}

void RecordWriter::choose_columns(const perflib::Record& record) {
  const perflib::Context& c = *record.context;
  chosen = true;
  layout_version = c.version;
  layout_fields = c.fields;
  time_at = c.time_index();
  columns.clear();
  if (time_at != perflib::NO_INDEX && !patterns.empty()) {
    columns.push_back(time_at);  // first, whatever the patterns say
  }
  for (std::uint32_t i = 0; i < c.fields.size(); ++i) {
    if (!record.printed(i)) {
      continue;
    }
    bool wanted = patterns.empty();
    for (std::size_t k = 0; k < patterns.size(); ++k) {
      if (perflib::column_pattern_match(patterns[k], record.printed_name(i))) {
        wanted = true;
        matched[k] = true;
      }
    }
    if (wanted && (i != time_at || patterns.empty())) {
      columns.push_back(i);
    }
  }
  header.clear();
  keys.clear();
  for (std::uint32_t i : columns) {
    const std::string_view name = record.printed_name(i);
    if (format == OutputFormat::kJsonl) {
      std::string key(keys.empty() ? "{" : ",");
      append_json_string(key, name);
      keys.push_back(key + ":");
    } else {
      header += header.empty() ? '#' : (format == OutputFormat::kTsv ? '\t' : ',');
      const std::size_t from = header.size();
      header.append(name);
      if (format == OutputFormat::kTsv) {
        std::replace(header.begin() + static_cast<std::ptrdiff_t>(from), header.end(), '\t', ' ');
      }
    }
  }
  header += '\n';
}

void RecordWriter::append_time(const perflib::Record& record, std::uint32_t i) {
  const std::time_t t = static_cast<std::time_t>(record.count_at(i));
  std::tm broken{};
  char text[64];
  if (time_format == TimeFormat::kIso && !record.holds_value(i) && gmtime_r(&t, &broken) != nullptr
      && std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &broken) != 0) {
    const bool quoted = format == OutputFormat::kJsonl;
    if (quoted) {
      line += '"';
    }
    line += text;
    if (quoted) {
      line += '"';
    }
    return;
  }
  const int n = record.format_value(i, text, sizeof text);
  line.append(text, static_cast<std::size_t>(std::clamp(n, 0, 63)));
}

void RecordWriter::write(FILE* out, const perflib::Record& record) {
  // A layout can grow in place (a derived column made on first need), so what was chosen is
  // compared with a copy of the fields it was chosen from.
  if (!chosen || record.context->version != layout_version
      || record.context->fields != layout_fields) {
    choose_columns(record);
  }
  line.clear();
  if (format != OutputFormat::kJsonl && header != printed_header) {
    line = header;
    printed_header = header;
  }
  const char separator = format == OutputFormat::kTsv ? '\t' : ',';
  for (std::size_t k = 0; k < columns.size(); ++k) {
    const std::uint32_t i = columns[k];
    if (format == OutputFormat::kJsonl) {
      line += keys[k];
    } else if (k != 0) {
      line += separator;
    }
    if (i == time_at) {
      append_time(record, i);
      continue;
    }
    char text[64];
    const int n = record.format_value(i, text, sizeof text);
    const std::string_view value(text, static_cast<std::size_t>(std::clamp(n, 0, 63)));
    if (format == OutputFormat::kJsonl && value.find('n') != std::string_view::npos) {
      line += "null";  // nan, inf: no JSON number
    } else {
      line += value;
    }
  }
  if (format == OutputFormat::kJsonl) {
    line += columns.empty() ? "{}" : "}";
  }
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), out);
}

}  // namespace vexil
