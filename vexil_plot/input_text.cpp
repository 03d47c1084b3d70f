// SPDX-License-Identifier: Apache-2.0
#include "input_text.h"

#include <cctype>
#include <cstdint>
#include <ctime>
#include <stdexcept>
#include <vector>

namespace vexil {

namespace {

// Epoch seconds of text of the form YYYY-MM-DDTHH:MM:SSZ, appended to out; whether it was one.
bool append_iso_time(std::string& out, std::string_view text) {
  static constexpr std::string_view form = "dddd-dd-ddTdd:dd:ddZ";
  if (text.size() != form.size()) {
    return false;
  }
  for (std::size_t k = 0; k < form.size(); ++k) {
    const bool digit = std::isdigit(static_cast<unsigned char>(text[k])) != 0;
    if (form[k] == 'd' ? !digit : text[k] != form[k]) {
      return false;
    }
  }
  const auto number = [&](std::size_t at, std::size_t n) {
    int v = 0;
    for (std::size_t k = at; k < at + n; ++k) {
      v = v * 10 + (text[k] - '0');
    }
    return v;
  };
  std::tm broken{};
  broken.tm_year = number(0, 4) - 1900;
  broken.tm_mon = number(5, 2) - 1;
  broken.tm_mday = number(8, 2);
  broken.tm_hour = number(11, 2);
  broken.tm_min = number(14, 2);
  broken.tm_sec = number(17, 2);
  out += std::to_string(static_cast<std::int64_t>(timegm(&broken)));
  return true;
}

// One CSV or TSV line (separated by tabs, then): ISO times to epoch seconds, tabs to commas.
void append_delimited_line(std::string& out, std::string_view line, char separator) {
  if (line.starts_with('#')) {
    for (char c : line) {
      out += c == separator ? ',' : c;
    }
    return;
  }
  for (std::size_t start = 0;;) {
    std::size_t end = line.find(separator, start);
    const std::string_view field = line.substr(start, end - start);
    if (!append_iso_time(out, field)) {
      out += field;
    }
    if (end == std::string_view::npos) {
      return;
    }
    out += ',';
    start = end + 1;
  }
}

// A reader of one JSON line: an object whose values are numbers, strings, null, true or false.
class JsonLine {
 public:
  explicit JsonLine(std::string_view text) : text(text) {}

  // The keys (as a header line) and the values (as a data line); false when the line is not
  // such an object.
  bool read(std::string& header, std::string& values) {
    header.clear();
    header += '#';
    values.clear();
    if (!take('{')) {
      return false;
    }
    skip_space();
    if (take('}')) {
      return at_end();
    }
    for (bool first = true;; first = false) {
      if (!first) {
        header += ',';
        values += ',';
      }
      std::string key;
      if (!string(key) || !take(':') || !value(values)) {
        return false;
      }
      for (char c : key) {
        header += (c == ',' || c == '\n' || c == '\r') ? '_' : c;
      }
      if (take('}')) {
        return at_end();
      }
      if (!take(',')) {
        return false;
      }
    }
  }

 private:
  void skip_space() {
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t' || text[at] == '\r')) {
      ++at;
    }
  }
  bool take(char c) {
    skip_space();
    if (at < text.size() && text[at] == c) {
      ++at;
      return true;
    }
    return false;
  }
  bool at_end() {
    skip_space();
    return at == text.size();
  }

  static void append_utf8(std::string& out, std::uint32_t c) {
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }

  bool hex4(std::uint32_t& c) {
    if (text.size() - at < 4) {
      return false;
    }
    c = 0;
    for (int k = 0; k < 4; ++k) {
      const char h = text[at++];
      if (!std::isxdigit(static_cast<unsigned char>(h))) {
        return false;
      }
      c = c * 16 + static_cast<std::uint32_t>(h <= '9' ? h - '0' : (h | 0x20) - 'a' + 10);
    }
    return true;
  }

  bool string(std::string& out) {
    if (!take('"')) {
      return false;
    }
    while (at < text.size()) {
      const char c = text[at++];
      if (c == '"') {
        return true;
      }
      if (c != '\\') {
        out += c;
        continue;
      }
      if (at == text.size()) {
        return false;
      }
      const char e = text[at++];
      static constexpr std::string_view from = "\"\\/bfnrt", to = "\"\\/\b\f\n\r\t";
      if (const std::size_t k = from.find(e); k != std::string_view::npos) {
        out += to[k];
        continue;
      }
      std::uint32_t u = 0;
      if (e != 'u' || !hex4(u)) {
        return false;
      }
      if (u >= 0xD800 && u < 0xDC00 && text.substr(at, 2) == "\\u") {
        at += 2;
        std::uint32_t low = 0;
        if (!hex4(low) || low < 0xDC00 || low >= 0xE000) {
          return false;
        }
        u = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
      }
      append_utf8(out, u);
    }
    return false;
  }

  bool value(std::string& out) {
    skip_space();
    if (at < text.size() && text[at] == '"') {
      std::string s;
      if (!string(s)) {
        return false;
      }
      append_iso_time(out, s);  // any other string: an empty field
      return true;
    }
    const std::size_t start = at;
    while (at < text.size()
           && std::string_view(",} \t\r").find(text[at]) == std::string_view::npos) {
      ++at;
    }
    const std::string_view token = text.substr(start, at - start);
    if (token.empty()) {
      return false;
    }
    if (token != "null" && token != "true" && token != "false") {
      out += token;
    }
    return true;
  }

  std::string_view text;
  std::size_t at = 0;
};

}  // namespace

std::string as_epoch_csv(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  const bool json = first != std::string_view::npos && text[first] == '{';
  std::string out, header, printed_header, values;
  out.reserve(text.size());
  std::size_t number = 0;
  const char separator =
      text.substr(0, text.find('\n')).find('\t') != std::string_view::npos ? '\t' : ',';
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = text.find('\n', start);
    end = end == std::string_view::npos ? text.size() : end;
    const std::string_view line = text.substr(start, end - start);
    start = end + 1;
    ++number;
    if (!json) {
      append_delimited_line(out, line, separator);
      out += '\n';
      continue;
    }
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) {
      continue;
    }
    if (!JsonLine(line).read(header, values)) {
      throw std::runtime_error("line " + std::to_string(number)
                               + " is not a JSON object of numbers and strings");
    }
    if (header != printed_header) {
      out += header;
      out += '\n';
      printed_header = header;
    }
    out += values;
    out += '\n';
  }
  return out;
}

}  // namespace vexil
