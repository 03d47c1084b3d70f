// SPDX-License-Identifier: Apache-2.0
// Header parsing: the layout is recognised from the column names, then each column is looked up
// in that layout's table; unknown columns become summed counters named by their header token, and
// a repeated column gets "_DUPLICATE" appended so every name stays distinct.
#include "perflib_bits/context.h"

#include <algorithm>
#include <mutex>
#include <unordered_set>

#include "layout_preview.h"
#include "number_parse.h"
#include "perflib_bits/calc_plan.h"
#include "perflib_bits/field_tables.h"

namespace perflib {

class ContextImpl {
 public:
  std::uint32_t time_index = NO_INDEX;  // of the version and columns it was found for
  bool time_index_known = false;
};

namespace {

std::uint8_t recognise_layout(const std::vector<std::string>& tokens) {
  bool pkt_drop_percent = false;
  for (const std::string& token : tokens) {
    if (token == "sdrops") {
      return LV_SDROP;  // wins over everything else
    }
    pkt_drop_percent = pkt_drop_percent || token == "pkt_drop_percent";
  }
  return pkt_drop_percent ? LV_TRELK_2 : LV_TRELK_3;
}

// Making a layout registers column instances in the built-in tables and derived-column plans for
// them; a file read ahead previews its layouts on another thread meanwhile.
std::mutex tables_lock;

std::vector<std::string> split_header(char* line) {
  std::vector<std::string> tokens;
  char* p = line[0] == '\0' ? line : line + 1;  // past the leading "#"
  for (p = skip_delimiters(p); *p != '\0'; p = skip_delimiters(p)) {
    char* start = p;
    p = token_end(p);
    tokens.emplace_back(start, p);
  }
  return tokens;
}

}  // namespace

Context::Context(char* line) : impl(std::make_unique<ContextImpl>()) {
  if (line == nullptr || (line[0] != '\0' && line[1] == '#')) {
    return;  // no header, or a "##" line: an empty layout
  }
  std::vector<std::string> tokens = split_header(line);
  const std::lock_guard<std::mutex> held(tables_lock);
  version = recognise_layout(tokens);
  FieldMap* map = rf_to_field_map[version];

  bool known_column = false;
  fields.reserve(tokens.size());
  for (std::string& token : tokens) {
    if (index.find(token) != index.end()) {
      token += "_DUPLICATE";
    }
    if (Field* known = map->wildcard_process(token)) {
      known_column = true;
      append_field(*known, token);
    } else {
      append_field(Field(token, PT_SUM), token);
    }
  }
  if (known_column) {
    add_thread_plans(map->max_instance);
  }
}

std::shared_ptr<const Context> preview_layout(const char* header) {
  auto layout = std::make_shared<Context>();
  if (header[0] != '\0' && header[1] == '#') {
    return layout;
  }
  std::string text(header);
  std::vector<std::string> tokens = split_header(text.data());
  std::unordered_set<std::string> seen;
  const std::lock_guard<std::mutex> held(tables_lock);
  layout->version = recognise_layout(tokens);
  const FieldMap& map = *rf_to_field_map[layout->version];
  for (std::string& token : tokens) {
    if (seen.count(token) != 0) {
      token += "_DUPLICATE";
    }
    seen.insert(token);
    // As wildcard_process finds it, without adding the instance.
    PegType kind = PT_SUM;
    if (auto it = map.fields.find(token); it != map.fields.end()) {
      kind = it->second.type;
    } else {
      for (const auto& w : map.wildcards) {
        if (w.pattern.match(token)) {
          kind = w.field->type;
          break;
        }
      }
    }
    layout->fields.emplace_back(token, kind);
  }
  return layout;
}

Context::~Context() = default;

Context::Context(const Context& other)
    : version(other.version),
      fields(other.fields),
      index(other.index),
      width(other.width),
      impl(std::make_unique<ContextImpl>(*other.impl)) {}

Context& Context::operator=(const Context& other) {
  if (this != &other) {
    version = other.version;
    fields = other.fields;
    index = other.index;
    width = other.width;
    *impl = *other.impl;
  }
  return *this;
}

std::uint32_t Context::find(std::string_view name) const {
  auto it = index.find(name);
  return it == index.end() ? NO_INDEX : it->second;
}

std::uint32_t Context::time_index() const {
  ContextImpl& cache = *impl;
  if (!cache.time_index_known) {
    cache.time_index = find(version == LV_TRELK_3 ? "timestamp" : "time");
    cache.time_index_known = true;
  }
  return cache.time_index;
}

void Context::append_field(const Field& field) {
  append_field(field, *field.name);
}

void Context::append_field(const Field& field, const std::string& key) {
  fields.push_back(field);
  auto position = static_cast<std::uint32_t>(fields.size() - 1);
  index.insert_or_assign(key, position);
  width = std::max(width, static_cast<std::uint32_t>(field.label ? field.label->size() : 0));
  impl->time_index_known = false;
}

void Context::rename_field(std::uint32_t position, const Field& field) {
  index.erase(*fields[position].name);
  fields[position] = field;
  index.insert_or_assign(*field.name, position);
  impl->time_index_known = false;
}

void Context::set_version(std::uint8_t v) {
  version = v;
  impl->time_index_known = false;
}

bool operator==(const Context& a, const Context& b) {
  if (&a == &b) {
    return true;
  }
  return a.version == b.version && a.fields == b.fields;
}

}  // namespace perflib
