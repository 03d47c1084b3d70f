// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/field_map.h"

namespace perflib {

template class WildcardMap<Field>;

std::string wildcard_to_regex(std::string_view pattern_name) {
  std::string text;
  text.reserve(pattern_name.size() + 8);
  for (char c : pattern_name) {
    switch (c) {
      case '*':
        text += "(.*)";
        break;
      case '[':
        text += "\\[";
        break;
      case ']':
        text += "\\]";
        break;
      default:
        text += c;
    }
  }
  return text;
}

namespace {

// Characters with a meaning in an ECMAScript pattern, other than the dot.
bool is_special(char c) {
  return std::string_view("^$\\*+?()[]{}|").find(c) != std::string_view::npos;
}

// A pattern character against a name character: '.' matches anything but a line terminator.
bool char_matches(char pattern, char c) {
  return pattern == '.' ? (c != '\n' && c != '\r') : pattern == c;
}

// Splits "<prefix>(.*)<suffix>" whose prefix and suffix hold only literals, dots and the escapes
// "\[" and "\]" into unescaped prefix and suffix. Returns false for any other shape.
bool split_plain(const std::string& text, std::string& prefix, std::string& suffix) {
  std::string* side = &prefix;
  bool seen_group = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (text.compare(i, 2, "\\[") == 0 || text.compare(i, 2, "\\]") == 0) {
      *side += text[++i];
    } else if (text.compare(i, 4, "(.*)") == 0 && !seen_group) {
      seen_group = true;
      side = &suffix;
      i += 3;
    } else if (is_special(c)) {
      return false;
    } else {
      *side += c;
    }
  }
  return seen_group;
}

bool matches_at(const std::string& pattern, const std::string& name, std::size_t at) {
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (!char_matches(pattern[i], name[at + i])) {
      return false;
    }
  }
  return true;
}

}  // namespace

class WildcardPatternImpl {
 public:
  std::string regex_text;
  bool plain = false;                    // literal/dot prefix, one (.*), literal/dot suffix
  std::string prefix, suffix;            // in pattern syntax: '.' is any character but CR and LF
  std::unique_ptr<std::regex> compiled;  // only for patterns that are not plain
};

WildcardPattern::WildcardPattern(const std::string& regex_text)
    : impl(std::make_unique<WildcardPatternImpl>()) {
  WildcardPatternImpl& p = *impl;
  p.regex_text = regex_text;
  p.plain = split_plain(regex_text, p.prefix, p.suffix);
  if (!p.plain) {
    p.compiled = std::make_unique<std::regex>(regex_text, std::regex::ECMAScript);
  }
}

WildcardPattern::~WildcardPattern() = default;
WildcardPattern::WildcardPattern(WildcardPattern&& other) noexcept = default;
WildcardPattern& WildcardPattern::operator=(WildcardPattern&& other) noexcept = default;

const std::string& WildcardPattern::text() const {
  return impl->regex_text;
}

std::optional<std::string> WildcardPattern::match(const std::string& name) const {
  const std::string& prefix = impl->prefix;
  const std::string& suffix = impl->suffix;
  if (!impl->plain) {
    std::smatch m;
    if (!std::regex_match(name, m, *impl->compiled)) {
      return std::nullopt;
    }
    return m.size() > 1 ? m[1].str() : std::string();
  }
  // With a fixed-length prefix and suffix a full match has exactly one way to place the group.
  if (name.size() < prefix.size() + suffix.size()) {
    return std::nullopt;
  }
  std::size_t middle_end = name.size() - suffix.size();
  if (!matches_at(prefix, name, 0) || !matches_at(suffix, name, middle_end)) {
    return std::nullopt;
  }
  for (std::size_t i = prefix.size(); i < middle_end; ++i) {
    if (name[i] == '\n' || name[i] == '\r') {
      return std::nullopt;
    }
  }
  return name.substr(prefix.size(), middle_end - prefix.size());
}

std::list<std::string*> FieldMap::get_regex_fields(Field& f) {
  return {f.name.get(), f.label.get()};
}

Field FieldMap::deep_copy(Field& f) {
  return Field(std::make_shared<std::string>(*f.name), std::make_shared<std::string>(*f.label),
               f.type);
}

Field* FieldMap::find(std::string_view name) {
  auto it = fields.find(name);
  return it == fields.end() ? nullptr : &it->second;
}

}  // namespace perflib
