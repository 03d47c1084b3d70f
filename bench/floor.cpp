// SPDX-License-Identifier: Apache-2.0
// The practical single-core limit of a merge: reads the given statistics files one after the
// other in large blocks, parses every field with std::from_chars and adds each row into the sum of
// its time bucket (bucket size seconds, 300 by default, over all files), then prints one line of
// sums per bucket. Columns are matched across files by header name; nothing else of vexil's
// work (column kinds, layout upgrades, averaging) is done, so this is a floor, not a merge.
//
//   floor [-T seconds] FILE...
//
// Memory stays modest: files are streamed through one buffer, and only the bucket sums are kept.
#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

constexpr std::size_t BLOCK = 1 << 20;

class Merger {
 public:
  explicit Merger(std::int64_t size) : size(size) {}

  void read_file(const char* path);
  void print(FILE* out) const;

 private:
  void line(const char* p, const char* end) {
    if (p < end && *p == '#') {
      header(std::string_view(p + 1, static_cast<std::size_t>(end - p - 1)));
    } else if (p < end) {
      data(p, end);
    }
  }
  void header(std::string_view text);
  void data(const char* p, const char* end);
  std::uint64_t* sums_for(std::int64_t t);

  std::int64_t size;
  std::unordered_map<std::string, std::uint32_t> columns;  // name -> position in the sums
  std::vector<std::string> names;
  std::vector<std::uint32_t> local;  // column of the current file -> position in the sums
  std::map<std::int64_t, std::vector<std::uint64_t>> buckets;
  std::int64_t last_key = 0;
  std::vector<std::uint64_t>* last = nullptr;
};

void Merger::read_file(const char* path) {
  int fd = ::open(path, O_RDONLY);
  if (fd < 0) {
    throw std::runtime_error(std::string("cannot open ") + path);
  }
  ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  std::vector<char> buf(BLOCK);
  std::size_t kept = 0;  // bytes of an unfinished line at the start of buf
  local.clear();
  for (;;) {
    if (kept == buf.size()) {
      buf.resize(buf.size() * 2);  // a line longer than the buffer
    }
    ssize_t n = ::read(fd, buf.data() + kept, buf.size() - kept);
    if (n < 0) {
      ::close(fd);
      throw std::runtime_error(std::string("cannot read ") + path);
    }
    if (n == 0) {
      if (kept) {
        line(buf.data(), buf.data() + kept);  // the last line has no newline
      }
      break;
    }
    const char* p = buf.data();
    const char* end = p + kept + n;
    while (const char* nl = static_cast<const char*>(std::memchr(p, '\n', end - p))) {
      line(p, nl);
      p = nl + 1;
    }
    kept = static_cast<std::size_t>(end - p);
    std::memmove(buf.data(), p, kept);
  }
  ::close(fd);
}

void Merger::header(std::string_view text) {
  local.clear();
  while (!text.empty()) {
    std::size_t comma = text.find(',');
    std::string name(text.substr(0, comma));
    auto [it, added] = columns.emplace(name, static_cast<std::uint32_t>(names.size()));
    if (added) {
      names.push_back(name);
    }
    local.push_back(it->second);
    text = comma == std::string_view::npos ? std::string_view() : text.substr(comma + 1);
  }
}

std::uint64_t* Merger::sums_for(std::int64_t t) {
  std::int64_t key = t - t % size;
  if (!last || key != last_key) {
    last = &buckets[key];
    last_key = key;
  }
  if (last->size() < names.size()) {
    last->resize(names.size());
  }
  return last->data();
}

void Merger::data(const char* p, const char* end) {
  std::int64_t t = 0;
  auto [q, ec] = std::from_chars(p, end, t);
  (void)ec;
  std::uint64_t* sums = sums_for(t);
  const std::size_t width = local.size();
  for (std::size_t i = 1; q < end && i < width; ++i) {
    p = q + 1;  // past the comma
    std::uint64_t v = 0;
    q = std::from_chars(p, end, v).ptr;
    if (q < end && *q == '.') {  // a real: keep its whole part
      double d = 0;
      q = std::from_chars(p, end, d).ptr;
      v = static_cast<std::uint64_t>(d);
    }
    sums[local[i]] += v;
    while (q < end && *q != ',') {  // malformed text reads as 0
      ++q;
    }
  }
}

void Merger::print(FILE* out) const {
  std::string text = "#";
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += names[i];
    text += i + 1 < names.size() ? ',' : '\n';
  }
  char num[24];
  for (const auto& [key, sums] : buckets) {
    text.append(num, std::to_chars(num, num + sizeof num, key + size).ptr);
    for (std::size_t i = 1; i < names.size(); ++i) {
      text += ',';
      text.append(num, std::to_chars(num, num + sizeof num, i < sums.size() ? sums[i] : 0).ptr);
    }
    text += '\n';
    if (text.size() > BLOCK) {
      std::fwrite(text.data(), 1, text.size(), out);
      text.clear();
    }
  }
  std::fwrite(text.data(), 1, text.size(), out);
}

}  // namespace

int main(int argc, char** argv) {
  std::int64_t size = 300;
  int first = 1;
  if (argc > 2 && std::string_view(argv[1]) == "-T") {
    size = std::atoll(argv[2]);
    first = 3;
  }
  if (first >= argc || size < 1) {
    std::fputs("usage: floor [-T seconds] FILE...\n", stderr);
    return 2;
  }
  try {
    Merger merger(size);
    for (int i = first; i < argc; ++i) {
      merger.read_file(argv[i]);
    }
    merger.print(stdout);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "floor: %s\n", e.what());
    return 1;
  }
  return 0;
}
