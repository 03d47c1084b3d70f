// SPDX-License-Identifier: Apache-2.0
#include "window_index.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <tuple>

#include "line_buffer.h"
#include "line_scan.h"

namespace perflib {

namespace {

// The file: a fixed part of 13 words, 4 words a stretch, 4 a header line, and a checksum of all
// that; words of 64 bits in the machine's order (another order fails the version). Another
// STRETCH or MOST_HEADERS, or another meaning of a word, is another version.
constexpr char MAGIC[8] = {'v', 'e', 'x', 'i', 'l', 'w', 'i', 'x'};
constexpr std::uint64_t VERSION = 1;
constexpr std::size_t FIXED = 13;
constexpr std::uint64_t WHOLE = 1, ROWS_BEFORE_HEADER = 2;

std::string path_of(const std::string& directory, const struct stat& file) {
  char name[64];
  std::snprintf(name, sizeof name, "/window-%llx-%llx",
                static_cast<unsigned long long>(file.st_dev),
                static_cast<unsigned long long>(file.st_ino));
  return std::string(directory).append(name);
}

// FNV-1a over the words.
std::uint64_t checksum(const std::uint64_t* words, std::size_t n) {
  std::uint64_t h = 14695981039346656037ull;
  for (const auto* p = reinterpret_cast<const unsigned char*>(words); n > 0; --n) {
    for (int i = 0; i < 8; ++i) {
      h = (h ^ *p++) * 1099511628211ull;
    }
  }
  return h;
}

// The words that tie an index to one state of a file.
void key(const struct stat& file, std::uint64_t* to) {
  const std::int64_t k[] = {static_cast<std::int64_t>(file.st_dev),
                            static_cast<std::int64_t>(file.st_ino),
                            static_cast<std::int64_t>(file.st_size),
                            static_cast<std::int64_t>(file.st_mtim.tv_sec),
                            static_cast<std::int64_t>(file.st_mtim.tv_nsec),
                            static_cast<std::int64_t>(file.st_ctim.tv_sec),
                            static_cast<std::int64_t>(file.st_ctim.tv_nsec)};
  for (std::size_t i = 0; i < 7; ++i) {
    to[i] = static_cast<std::uint64_t>(k[i]);
  }
}

bool same_state(const struct stat& a, const struct stat& b) {
  std::uint64_t ka[7], kb[7];
  key(a, ka);
  key(b, kb);
  return std::equal(ka, ka + 7, kb);
}

// Whether a change to the file after time now gets another time than its last one: the file
// system's clock (of which now is a reading) has passed it by more than the file system's
// resolution. Times without nanoseconds come from a file system that keeps whole seconds (or
// two).
bool settled(const struct stat& file, const struct timespec& now) {
  const bool whole_seconds = file.st_mtim.tv_nsec == 0 && file.st_ctim.tv_nsec == 0;
  const struct timespec& last = std::tie(file.st_mtim.tv_sec, file.st_mtim.tv_nsec)
                                        > std::tie(file.st_ctim.tv_sec, file.st_ctim.tv_nsec)
                                    ? file.st_mtim
                                    : file.st_ctim;
  if (last.tv_sec > now.tv_sec) {
    return false;
  }
  std::int64_t sec = last.tv_sec, nsec = last.tv_nsec;
  if (whole_seconds) {
    sec += 2;
  } else if ((nsec += 1000000) >= 1000000000) {
    sec += 1;
    nsec -= 1000000000;
  }
  return std::tie(sec, nsec) < std::tuple<std::int64_t, std::int64_t>(now.tv_sec, now.tv_nsec);
}

// Writes all of n bytes.
bool write_all(int fd, const char* from, std::size_t n) {
  while (n > 0) {
    const ssize_t put = write(fd, from, n);
    if (put < 0 && errno == EINTR) {
      continue;
    }
    if (put <= 0) {
      return false;
    }
    from += put;
    n -= static_cast<std::size_t>(put);
  }
  return true;
}

}  // namespace

void WindowIndex::header(std::size_t start, std::uint64_t number, std::size_t length,
                         bool time_first) {
  if (too_many) {
    return;
  }
  if (headers.size() == MOST_HEADERS) {
    too_many = true;
    headers = {};
    stretches = {};
    return;
  }
  headers.push_back({start, number, length, time_first});
}

void WindowIndex::read_whole() {
  whole = true;
  too_many = false;
  rows_before_header = false;
  headers = {};
  stretches = {};
}

bool WindowIndex::rows(int fd, std::size_t size, std::size_t i, std::int64_t since,
                       std::int64_t until, Rows& r) const {
  const Stretch& s = stretches[i];
  const bool next = i + 1 < stretches.size();
  const std::size_t end = next ? stretches[i + 1].offset : size;
  const std::uint64_t end_line = next ? stretches[i + 1].line : line_count;
  char before = '\n';
  if (s.offset > 0 && !read_at(fd, &before, 1, s.offset - 1)) {
    return false;
  }
  LineScan scan(fd, end, s.offset);
  std::uint64_t number = s.line;
  std::int64_t min = INT64_MAX, max = INT64_MIN;
  while (scan.next()) {
    ++number;
    if (scan.length > LineBuffer::LINE_LIMIT) {
      return false;
    }
    if (scan.head_size > 0 && scan.head[0] == '#') {
      continue;
    }
    std::int64_t time = 0;
    if (!scan.first_cell_time(time)) {
      return false;
    }
    min = std::min(min, time);
    max = std::max(max, time);
    if (since <= time && time < until) {
      if (r.first == SIZE_MAX) {
        r.first = scan.start;
        r.first_number = number - 1;
      }
      r.last = scan.end;
    }
  }
  return before == '\n' && scan.end == end && number == end_line && min == s.min && max == s.max;
}

WindowIndex::Answer WindowIndex::find(int fd, std::size_t size, std::int64_t since,
                                      std::int64_t until, bool top_by_first_cell,
                                      WindowFound& found) const {
  if (whole || (rows_before_header && !top_by_first_cell)) {
    return kReadWhole;
  }
  found = {size, line_count, size, {}};
  const auto meets = [since, until](const Stretch& s) { return s.min < until && s.max >= since; };
  // The first row: in the first stretch that meets the window and has one; the last row: in the
  // last such stretch.
  std::size_t i = 0;
  Rows r;
  for (; i < stretches.size() && r.first == SIZE_MAX; ++i) {
    if (meets(stretches[i]) && !rows(fd, size, i, since, until, r)) {
      return kUnusable;
    }
  }
  if (r.first != SIZE_MAX) {
    found.first = r.first;
    found.first_number = r.first_number;
    found.last = r.last;
    for (std::size_t j = stretches.size(); j-- > i;) {
      Rows later;
      if (meets(stretches[j]) && !rows(fd, size, j, since, until, later)) {
        return kUnusable;
      }
      if (later.first != SIZE_MAX) {
        found.last = later.last;
        break;
      }
    }
    // The header lines after the first row are read too.
    if (!headers.empty() && headers.back().offset > found.first) {
      const Header& h = headers.back();
      found.last = std::max(found.last, std::min(h.offset + h.length + 1, size));
    }
  }
  std::size_t bytes = 0;
  for (const Header& h : headers) {
    if (h.offset >= found.first) {
      break;
    }
    bytes += h.length;
    if (bytes > LineBuffer::LINE_LIMIT) {
      return kReadWhole;  // as the pass: hardly a statistics file
    }
  }
  for (const Header& h : headers) {
    if (h.offset >= found.first) {
      break;
    }
    std::string text(h.length, '\0');
    if (!read_at(fd, text.data(), h.length, h.offset) || text.empty() || text[0] != '#'
        || text.find('\n') != std::string::npos) {
      return kUnusable;
    }
    found.headers.push_back({std::move(text), h.number});
  }
  return kFound;
}

bool WindowIndex::holds_together(std::size_t size) const {
  if (whole) {
    return stretches.empty() && headers.empty() && !rows_before_header;
  }
  // A line in every stretch, each stretch beginning after the one before; the first at the top.
  if ((size == 0) != (line_count == 0) || (size == 0) != stretches.empty()
      || (!stretches.empty() && (stretches[0].offset != 0 || stretches[0].line != 0))) {
    return false;
  }
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    const Stretch& s = stretches[i];
    const bool ascending =
        i == 0
        || (s.offset > stretches[i - 1].offset && s.offset - stretches[i - 1].offset >= STRETCH
            && s.line > stretches[i - 1].line);
    const bool times = s.min <= s.max || (s.min == INT64_MAX && s.max == INT64_MIN);
    if (!ascending || s.offset >= size || s.line >= line_count || !times) {
      return false;
    }
  }
  // Header lines in order, each within the file; one whose rows do not have the time first is
  // followed by no data row (the file would be read whole).
  for (std::size_t i = 0; i < headers.size(); ++i) {
    const Header& h = headers[i];
    const bool ascending =
        i == 0 || (h.offset > headers[i - 1].offset && h.number > headers[i - 1].number);
    const bool next_no_row =
        i + 1 < headers.size() ? headers[i + 1].number == h.number + 1 : h.number == line_count;
    if (!ascending || h.number == 0 || h.number > line_count || h.length == 0
        || h.length > LineBuffer::LINE_LIMIT || h.offset >= size || h.length > size - h.offset
        || (!h.time_first && !next_no_row)) {
      return false;
    }
  }
  return !(rows_before_header && !headers.empty() && headers[0].number == 1);
}

bool WindowIndex::load(const std::string& directory, const struct stat& file, WindowIndex& into) {
  const int fd = open(path_of(directory, file).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    return false;
  }
  struct stat status;
  std::vector<std::uint64_t> w;
  // At most a stretch for every STRETCH bytes of the file, and one more.
  const auto most = static_cast<off_t>(
      8 * (FIXED + 1 + 4 * (static_cast<std::size_t>(file.st_size) / STRETCH + 1 + MOST_HEADERS)));
  bool read = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size % 8 == 0
              && status.st_size >= static_cast<off_t>((FIXED + 1) * 8) && status.st_size <= most;
  if (read) {
    w.resize(static_cast<std::size_t>(status.st_size) / 8);
    read = read_at(fd, reinterpret_cast<char*>(w.data()), w.size() * 8, 0);
  }
  close(fd);
  std::uint64_t k[7];
  key(file, k);
  if (!read || std::memcmp(w.data(), MAGIC, 8) != 0 || w[1] != VERSION
      || !std::equal(k, k + 7, w.begin() + 2) || checksum(w.data(), w.size() - 1) != w.back()) {
    return false;
  }
  const std::uint64_t flags = w[9], stretch_count = w[11], header_count = w[12];
  if (flags > (WHOLE | ROWS_BEFORE_HEADER) || stretch_count > w.size() / 4
      || header_count > w.size() / 4
      || w.size() != FIXED + 4 * (stretch_count + header_count) + 1) {
    return false;
  }
  WindowIndex index;
  index.whole = (flags & WHOLE) != 0;
  index.rows_before_header = (flags & ROWS_BEFORE_HEADER) != 0;
  index.line_count = w[10];
  const std::uint64_t* p = w.data() + FIXED;
  for (std::uint64_t i = 0; i < stretch_count; ++i, p += 4) {
    index.stretches.push_back({static_cast<std::size_t>(p[0]), p[1],
                               static_cast<std::int64_t>(p[2]), static_cast<std::int64_t>(p[3])});
  }
  for (std::uint64_t i = 0; i < header_count; ++i, p += 4) {
    if (p[3] > 1) {
      return false;
    }
    index.headers.push_back(
        {static_cast<std::size_t>(p[0]), p[1], static_cast<std::size_t>(p[2]), p[3] == 1});
  }
  if (!index.holds_together(static_cast<std::size_t>(file.st_size))) {
    return false;
  }
  into = std::move(index);
  return true;
}

void WindowIndex::save(const std::string& directory, int fd, const struct stat& file,
                       const struct timespec& began) const {
  struct stat now;
  if (too_many || fstat(fd, &now) != 0 || !same_state(file, now) || !settled(file, began)) {
    return;
  }
  std::vector<std::uint64_t> w(FIXED);
  std::memcpy(w.data(), MAGIC, 8);
  w[1] = VERSION;
  key(file, w.data() + 2);
  w[9] = (whole ? WHOLE : 0) | (rows_before_header ? ROWS_BEFORE_HEADER : 0);
  w[10] = line_count;
  w[11] = stretches.size();
  w[12] = headers.size();
  for (const Stretch& s : stretches) {
    w.insert(w.end(), {s.offset, s.line, static_cast<std::uint64_t>(s.min),
                       static_cast<std::uint64_t>(s.max)});
  }
  for (const Header& h : headers) {
    w.insert(w.end(), {h.offset, h.number, h.length, h.time_first ? 1u : 0u});
  }
  w.push_back(checksum(w.data(), w.size()));
  const std::string path = path_of(directory, file);
  std::string temporary = path;
  temporary.append(".XXXXXX");
  const int out = mkstemp(temporary.data());
  if (out < 0) {
    return;
  }
  const bool written = write_all(out, reinterpret_cast<const char*>(w.data()), w.size() * 8);
  if (close(out) != 0 || !written || rename(temporary.c_str(), path.c_str()) != 0) {
    unlink(temporary.c_str());
  }
}

}  // namespace perflib
