// SPDX-License-Identifier: Apache-2.0
// Finding the first row at or after a time without parsing what comes before it.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "line_buffer.h"
#include "number_parse.h"
#include "perflib_bits/log_file.h"

namespace perflib {

namespace {

// A file mapped for reading, in which lines are found by their byte offsets.
class MappedText {
 public:
  MappedText(int fd, std::size_t size) : size(size) {
    void* p = size == 0 ? MAP_FAILED : mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    text = p == MAP_FAILED ? nullptr : static_cast<const char*>(p);
  }
  ~MappedText() {
    if (text != nullptr) {
      munmap(const_cast<char*>(text), size);
    }
  }
  MappedText(const MappedText&) = delete;
  MappedText& operator=(const MappedText&) = delete;

  bool mapped() const { return text != nullptr; }

  // The start of the first line that starts at or after at.
  std::size_t line_at_or_after(std::size_t at) const {
    if (at == 0 || at >= size) {
      return std::min(at, size);
    }
    const void* newline = std::memchr(text + at - 1, '\n', size - (at - 1));
    return newline == nullptr ? size : static_cast<const char*>(newline) - text + 1;
  }
  std::size_t line_end(std::size_t start) const {
    const void* newline = std::memchr(text + start, '\n', size - start);
    return newline == nullptr ? size : static_cast<const char*>(newline) - text + 1;
  }
  // The start of the last header line ("#...") that starts before at, or size when none does.
  // Read backwards with pread rather than through the mapping: touching every page of a mapping
  // costs a fault each, several times what copying the same bytes does.
  std::size_t header_before(int fd, std::size_t at) const {
    std::vector<char> chunk(1 << 20);
    for (std::size_t end = at; end > 0;) {
      const std::size_t from = end - std::min(end, chunk.size());
      if (pread(fd, chunk.data(), end - from, static_cast<off_t>(from))
          != static_cast<ssize_t>(end - from)) {
        break;
      }
      // A "#" that starts a line: after a newline, or at the start of the file.
      for (std::size_t stop = end - from; stop > 0;) {
        const void* hash = memrchr(chunk.data(), '#', stop);
        if (hash == nullptr) {
          break;
        }
        const std::size_t p = static_cast<const char*>(hash) - chunk.data();
        if (from + p == 0 || (p > 0 ? chunk[p - 1] : text[from - 1]) == '\n') {
          return from + p;
        }
        stop = p;
      }
      end = from;
    }
    return size;
  }
  std::string line(std::size_t start) const {
    return std::string(text + start, line_end(start) - start);
  }
  // The time of the data line at start (its first cell), false for a header or a line whose first
  // cell is not a number.
  bool time_of(std::size_t start, std::int64_t& time) const {
    if (start >= size || text[start] == '#') {
      return false;
    }
    std::string row(text + start, std::min<std::size_t>(line_end(start) - start, 64));
    char* p = skip_delimiters(row.data());
    if (*p < '0' || *p > '9') {
      return false;
    }
    time = static_cast<std::int64_t>(read_count(p));
    return true;
  }

  const char* text;
  std::size_t size;
};

constexpr std::size_t SAMPLES = 64;

// Bisection for the first data line at or after time: every data line before the returned offset
// is earlier, none from there on is, if the file is in time order. A probe that contradicts an
// earlier one (probes holds them all) shows a file that is not: then false.
bool first_at_or_after(const MappedText& map, std::int64_t time,
                       std::vector<std::pair<std::size_t, std::int64_t>>& probes,
                       std::size_t& offset) {
  std::size_t lo = 0, hi = map.size;
  while (hi - lo > LineBuffer::BLOCK_SIZE) {
    std::size_t start = map.line_at_or_after(lo + (hi - lo) / 2);
    std::int64_t t;
    while (start < hi && !map.time_of(start, t)) {
      start = map.line_end(start);
    }
    if (start >= hi) {
      hi = lo + (hi - lo) / 2;
      continue;
    }
    for (const auto& [at, seen] : probes) {
      if ((at < start && seen > t) || (at > start && seen < t)) {
        return false;
      }
    }
    probes.emplace_back(start, t);
    if (t < time) {
      lo = map.line_end(start);
    } else {
      hi = start;
    }
  }
  // The rest is read line by line: from the block's start when looking for the first row, to its
  // end when looking for the first row past the window.
  offset = map.line_at_or_after(lo);
  return true;
}

}  // namespace

void LogFile::read_window(std::int64_t since, std::int64_t until) {
  skip_before = since;
  struct stat status;
  if (!own_descriptor || tail || fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)
      || position() != static_cast<off_t>(lines->recent().size())) {
    return;  // read on from where it is, passing over the early rows one by one
  }
  const MappedText map(fileno(file), static_cast<std::size_t>(status.st_size));
  if (!map.mapped()) {
    return;
  }
  // Rows at evenly spaced offsets, which a file not in time order is likely to show; the
  // bisections add theirs.
  std::vector<std::pair<std::size_t, std::int64_t>> probes;
  for (std::size_t i = 0; i <= SAMPLES; ++i) {
    std::size_t start = map.line_at_or_after(map.size / SAMPLES * i);
    std::int64_t t;
    while (start < map.size && !map.time_of(start, t)) {
      start = map.line_end(start);
    }
    if (start < map.size && (probes.empty() || probes.back().first < start)) {
      if (!probes.empty() && probes.back().second > t) {
        return;
      }
      probes.emplace_back(start, t);
    }
  }
  std::size_t from = 0, to = map.size;
  if ((since != INT64_MIN && !first_at_or_after(map, since, probes, from))
      || (until != INT64_MAX && !first_at_or_after(map, until, probes, to))) {
    return;
  }
  if (to < map.size) {
    // No row of the window lies past the block holding the first row after it.
    end_offset =
        static_cast<off_t>(std::min(map.size, map.line_at_or_after(to + LineBuffer::BLOCK_SIZE)));
  }
  if (from == 0) {
    return;
  }
  // The lines from there on take the layout of the last header before it, as if read in order.
  // The search went by first cells: a file whose time is not its first column (at the top or
  // there) is read from its top instead.
  std::shared_ptr<Context> layout;
  for (const std::size_t header : {std::size_t{0}, map.header_before(fileno(file), from)}) {
    if (header < map.size && map.text[header] == '#') {
      std::string text = map.line(header);
      layout = std::make_shared<Context>(text.data());
      if (layout->time_index() != 0) {
        return;
      }
    }
  }
  if (layout) {
    previous = std::make_shared<Record>(layout, nullptr);
  }
  lseek(fileno(file), static_cast<off_t>(from), SEEK_SET);
  const std::size_t recent = std::min(from, LineBuffer::RECENT_SIZE);
  lines->restart(std::string_view(map.text + from - recent, recent));
}

}  // namespace perflib
