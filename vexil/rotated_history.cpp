// SPDX-License-Identifier: Apache-2.0
#include "rotated_history.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <tuple>

#include "perflib"

namespace vexil {

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

bool is_rotated_name(const std::string& name, const std::string& base) {
  if (name.size() < base.size() + 2 || name.compare(0, base.size(), base) != 0) {
    return false;
  }
  std::string_view rest = std::string_view(name).substr(base.size());
  for (const std::string_view suffix : {".gz", ".zst", ".xz"}) {
    if (rest.size() > suffix.size() && rest.substr(rest.size() - suffix.size()) == suffix) {
      rest.remove_suffix(suffix.size());
      break;
    }
  }
  if (rest.size() < 2 || (rest[0] != '.' && rest[0] != '-') || !is_digit(rest[1])) {
    return false;
  }
  const bool dated = rest[0] == '-';
  return std::all_of(rest.begin() + 2, rest.end(),
                     [dated](char c) { return is_digit(c) || (dated && c == '-'); });
}

std::vector<std::string> rotated_predecessors(const std::string& path) {
  namespace fs = std::filesystem;
  const fs::path live(path);
  const fs::path directory = live.has_parent_path() ? live.parent_path() : fs::path(".");
  const std::string base = live.filename().string();
  std::vector<std::tuple<std::int64_t, std::string>> found;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
    const std::string name = entry.path().filename().string();
    if (!is_rotated_name(name, base)) {
      continue;
    }
    const std::string file = live.has_parent_path() ? (directory / name).string() : name;
    perflib::LogFile reader(file, false);
    const perflib::RecordPtr first = reader.read_next();
    found.emplace_back(first ? first->get_time() : std::numeric_limits<std::int64_t>::min(), file);
  }
  std::sort(found.begin(), found.end());
  std::vector<std::string> paths;
  for (auto& [time, file] : found) {
    paths.push_back(std::move(file));
  }
  return paths;
}

}  // namespace vexil
