// SPDX-License-Identifier: Apache-2.0
// A dictionary of columns by name, with wildcard patterns for per-instance columns.
//
// A pattern name holds one "*" where the instance number goes ("usr[*]", "thread_*.cpu_user").
// It becomes a regular expression by replacing "*" with "(.*)" and escaping "[" and "]"; nothing
// else is escaped, so a "." stays a regular-expression dot. A name that is not in the map is
// matched in full against the patterns in table order; the first match wins, its capture goes
// through std::stoi (whose exceptions propagate) and a concrete field is made and cached.
//
// Patterns of the plain shape (literal text and dots around one "(.*)") are matched by a small
// matcher that gives exactly the regular expression's result, in linear time and without
// recursion; any other pattern is compiled once with std::regex.
#ifndef PERFLIB_BITS_WILDCARD_MAP_H
#define PERFLIB_BITS_WILDCARD_MAP_H

#include <cstdint>
#include <initializer_list>
#include <list>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "export.h"

namespace perflib {

// Hash that lets an unordered_map<std::string, ...> be searched with a std::string_view.
struct StringHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view s) const noexcept {
    return std::hash<std::string_view>{}(s);
  }
};

class WildcardPatternImpl;

// One compiled pattern: matches a whole name and yields the text of the first group.
class PERFLIB_EXPORT WildcardPattern {
 public:
  explicit WildcardPattern(const std::string& regex_text);
  ~WildcardPattern();
  WildcardPattern(WildcardPattern&& other) noexcept;
  WildcardPattern& operator=(WildcardPattern&& other) noexcept;
  std::optional<std::string> match(const std::string& name) const;
  const std::string& text() const;

 private:
  // The compiled pattern lives behind this pointer, so the class's size and layout stay those of
  // this release whatever way of matching it comes to use.
  std::unique_ptr<WildcardPatternImpl> impl;
};

// Turns a pattern name into its regular-expression text.
PERFLIB_EXPORT std::string wildcard_to_regex(std::string_view pattern_name);

// Defined here and instantiated by its users: its members are frozen for the life of the soname
// (perflib/abi), and the matching itself is WildcardPattern's, behind its pointer.
template <class T>
class WildcardMap {
 public:
  struct Wildcard {
    WildcardPattern pattern;
    T* field;  // the pattern row in fields
  };

  WildcardMap(std::initializer_list<T> list) : WildcardMap(list.begin(), list.end()) {}
  template <class It>
  WildcardMap(It first, It last);
  virtual ~WildcardMap() = default;
  WildcardMap(const WildcardMap&) = delete;
  WildcardMap& operator=(const WildcardMap&) = delete;

  // The field called name, making it from the first matching pattern on first sight; null when
  // the name is neither known nor matched. The pointer stays valid for the life of the map.
  virtual T* wildcard_process(const std::string& name);
  // The strings of a field that carry the "*" to be replaced by the instance text.
  virtual std::list<std::string*> get_regex_fields(T& f) = 0;
  // A copy of a field that shares no string with it.
  virtual T deep_copy(T& f) = 0;

  std::unordered_map<std::string, T, StringHash, std::equal_to<>> fields;
  std::vector<Wildcard> wildcards;
  std::int32_t max_instance = 0;

 private:
  void add(const T& row);
};

template <class T>
template <class It>
WildcardMap<T>::WildcardMap(It first, It last) {
  for (; first != last; ++first) {
    add(*first);
  }
}

template <class T>
void WildcardMap<T>::add(const T& row) {
  const std::string& key = *row.name;
  auto [it, inserted] = fields.emplace(key, row);  // the first row of a key stays
  if (key.find('*') == std::string::npos) {
    return;
  }
  wildcards.push_back(Wildcard{WildcardPattern(wildcard_to_regex(key)), &it->second});
}

template <class T>
T* WildcardMap<T>::wildcard_process(const std::string& name) {
  if (auto it = fields.find(name); it != fields.end()) {
    return &it->second;
  }
  for (Wildcard& w : wildcards) {
    std::optional<std::string> capture = w.pattern.match(name);
    if (!capture) {
      continue;
    }
    int instance = std::stoi(*capture);  // deliberate: a non-numeric instance throws
    if (instance > max_instance) {
      max_instance = instance;
    }
    T made = deep_copy(*w.field);
    for (std::string* text : get_regex_fields(made)) {
      for (std::size_t at = text->find('*'); at != std::string::npos;
           at = text->find('*', at + capture->size())) {
        text->replace(at, 1, *capture);
      }
    }
    return &fields.emplace(name, std::move(made)).first->second;
  }
  return nullptr;
}

}  // namespace perflib

#endif
