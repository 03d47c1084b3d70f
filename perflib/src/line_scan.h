// SPDX-License-Identifier: Apache-2.0
// Internal: the lines of a plain file (or of a stretch of it that begins and ends at line starts),
// read in large blocks with pread, looked at by their first bytes: what the search for a window
// (log_file_seek.cpp) and its index (window_index.cpp) go through.
#ifndef PERFLIB_SRC_LINE_SCAN_H
#define PERFLIB_SRC_LINE_SCAN_H

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "line_buffer.h"
#include "number_parse.h"

namespace perflib {

// Reads n bytes at offset into to; false when the file has fewer or the read fails.
inline bool read_at(int fd, char* to, std::size_t n, std::size_t offset) {
  while (n > 0) {
    const ssize_t got = pread(fd, to, n, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return false;
    }
    to += got;
    n -= static_cast<std::size_t>(got);
    offset += static_cast<std::size_t>(got);
  }
  return true;
}

// Read with pread, not through a mapping: touching every page of a mapping costs a fault each,
// several times what copying the same bytes does.
class LineScan {
 public:
  static constexpr std::size_t HEAD = 64;  // the bytes of a line kept for its first cell

  // The lines from the line start from to end (the file's size, or the start of a line).
  LineScan(int fd, std::size_t end, std::size_t from = 0)
      : end(from),
        fd(fd),
        size(end),
        block(std::max(HEAD, std::min(std::size_t{1} << 20, end - from))),
        base(from) {}

  // Moves to the next line: false at the end or when a read fails.
  bool next() {
    start = end;
    if (start >= size) {
      return false;
    }
    if (start + std::min(HEAD, size - start) > base + filled && !fill(start)) {
      return false;
    }
    const char* p = block.data() + (start - base);
    const std::size_t held = base + filled - start;
    head_size = std::min(held, HEAD);
    std::memcpy(head, p, head_size);
    if (const void* newline = std::memchr(p, '\n', held)) {
      length = static_cast<std::size_t>(static_cast<const char*>(newline) - p);
      end = start + length + 1;
      return true;
    }
    // The line goes on past the block: to the next "\n", the end, or past the longest line the
    // reader takes.
    for (std::size_t at = base + filled;;) {
      if (at >= size || at - start > LineBuffer::LINE_LIMIT) {
        length = at - start;
        end = at;
        return true;
      }
      if (!fill(at)) {
        return false;
      }
      if (const void* newline = std::memchr(block.data(), '\n', filled)) {
        end = at + static_cast<std::size_t>(static_cast<const char*>(newline) - block.data()) + 1;
        length = end - 1 - start;
        return true;
      }
      at += filled;
    }
  }

  // The whole line, "\n" left out.
  bool text(std::string& line) const {
    line.resize(length);
    return read_at(fd, line.data(), length, start);
  }

  // The time in the first cell of a data line, as the reader reads it (from the line's first
  // bytes, up to a NUL): false for a line that gives no values, and where the cell goes on past
  // the bytes looked at.
  bool first_cell_time(std::int64_t& time) {
    head[head_size] = '\0';
    char* p = skip_delimiters(head);
    if (*p == '\0') {
      return false;
    }
    time = static_cast<std::int64_t>(read_count(p));
    return !(head_size < length && p == head + head_size);
  }

  std::size_t start = 0;   // of the line
  std::size_t length = 0;  // its bytes, "\n" left out
  std::size_t end = 0;     // of the line, "\n" included
  char head[HEAD + 1];     // the first bytes of the line
  std::size_t head_size = 0;

 private:
  bool fill(std::size_t at) {
    base = at;
    filled = std::min(block.size(), size - at);
    return read_at(fd, block.data(), filled, at);
  }

  int fd;
  std::size_t size;
  std::vector<char> block;
  std::size_t base = 0;    // offset of block[0] in the file
  std::size_t filled = 0;  // bytes of the file in block
};

}  // namespace perflib

#endif
