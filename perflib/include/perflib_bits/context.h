// SPDX-License-Identifier: Apache-2.0
// The column layout of a statistics file: parsed from its header line and shared by every record
// read under that header.
//
// A context is mutable after construction: match_context upgrades an older layout in place and
// get_local_index / derive append columns. Read the members freely; change them only through
// rename_field, append_field and set_version, which keep index, width and the cached time
// column consistent.
#ifndef PERFLIB_BITS_CONTEXT_H
#define PERFLIB_BITS_CONTEXT_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "export.h"
#include "field.h"
#include "wildcard_map.h"

namespace perflib {

constexpr std::uint32_t NO_INDEX = 0xFFFFFFFF;

// Layout versions.
enum LayoutVersion : std::uint8_t {
  LV_NONE = 0,
  LV_SDROP = 1,
  LV_TRELK_2 = 2,
  LV_TRELK_3 = 3,
};

class ContextImpl;

// The public members are frozen for the life of the soname (perflib/abi); what the layout keeps
// for itself is behind impl.
class PERFLIB_EXPORT Context {
 public:
  // Parses a header line ("#name,name,...\n"), tokenising it in place. A null line, or a line
  // beginning "##", gives an empty context of version 0.
  explicit Context(char* line = nullptr);
  virtual ~Context();
  Context(const Context& other);
  Context& operator=(const Context& other);

  std::uint8_t version = LV_NONE;
  std::vector<Field> fields;
  std::unordered_map<std::string, std::uint32_t, StringHash, std::equal_to<>> index;
  std::uint32_t width = 0;  // longest label of any field added

  // Position of a column name, or NO_INDEX.
  std::uint32_t find(std::string_view name) const;
  // Position of the time column ("timestamp" in layout 3, "time" otherwise), or NO_INDEX.
  std::uint32_t time_index() const;
  void append_field(const Field& field);  // adds to fields and index, raises width
  void append_field(const Field& field, const std::string& key);  // indexed under key
  void rename_field(std::uint32_t position, const Field& field);  // width is left alone
  void set_version(std::uint8_t v);

 private:
  // What a layout keeps for itself (the time column found last) lives behind this pointer, so the
  // class's size and layout stay those of this release whatever it comes to keep.
  std::unique_ptr<ContextImpl> impl;
};

// Same object; else equal version, field count and fields position by position.
PERFLIB_EXPORT bool operator==(const Context& a, const Context& b);
inline bool operator!=(const Context& a, const Context& b) {
  return !(a == b);
}

}  // namespace perflib

#endif
