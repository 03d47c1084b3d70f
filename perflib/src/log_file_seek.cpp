// SPDX-License-Identifier: Apache-2.0
// Reading only the part of a plain file that holds a window of times.
//
// One pass over the file looks at the first cell of every line, without making records: the
// reader then starts at the first row of the window and stops after its last one, so a file
// whose clock stepped back gives exactly its rows of the window too. Every row passed over is
// one that reading the whole file would have passed over too (before since, or at or after
// until); a line whose effect the pass cannot tell from its first cell (one that would end the
// input, one too long, one in a layout whose time is not its first column) has the file read
// from its top instead.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "layout_preview.h"
#include "log_file_impl.h"
#include "number_parse.h"

namespace perflib {

namespace {

// Reads n bytes at offset into to; false when the file has fewer or the read fails.
bool read_at(int fd, char* to, std::size_t n, std::size_t offset) {
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

// The lines of a plain file from its top, read in large blocks with pread (not through a
// mapping: touching every page of a mapping costs a fault each, several times what copying the
// same bytes does).
class LineScan {
 public:
  static constexpr std::size_t HEAD = 64;  // the bytes of a line kept for its first cell

  LineScan(int fd, std::size_t size) : fd(fd), size(size), block(std::size_t{1} << 20) {}

  // Moves to the next line: false at the end of the file or when a read fails.
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
    // The line goes on past the block: to the next "\n", the end of the file, or past the
    // longest line the reader takes.
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

// Whether the rows under a layout have their time as their first cell.
bool time_first(const Context& layout) {
  return layout.time_index() == 0;
}

bool time_first(const std::string& header) {
  const std::shared_ptr<const Context> layout = preview_layout(header.c_str());
  return !layout->fields.empty()
         && *layout->fields[0].name == (layout->version == LV_TRELK_3 ? "timestamp" : "time");
}

struct HeaderAt {
  std::string text;
  std::uint64_t number;
};

}  // namespace

void LogFile::read_window(std::int64_t since, std::int64_t until) {
  impl->read_window(since, until);
}

void LogFileImpl::read_window(std::int64_t since, std::int64_t until) {
  skip_before = since;
  struct stat status;
  if (!own_descriptor || tail || fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)
      || position() != static_cast<off_t>(lines->recent().size())) {
    return;  // read on from where it is, passing over the early rows one by one
  }
  window_until = until;
  window_pending = true;  // looked for when the file is first read
}

void LogFileImpl::find_window() {
  window_pending = false;
  struct stat status;
  if (fstat(fileno(file), &status) != 0) {
    return;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  bool by_first_cell = previous ? time_first(*previous->get_context()) : true;  // "#time,sdrops"
  std::vector<HeaderAt> headers;  // before the first row of the window
  std::size_t header_bytes = 0;
  std::size_t first = size;  // the start of the first row of the window
  std::uint64_t first_number = 0;
  std::size_t last = 0;  // the end of the last line that must be read
  std::uint64_t number = 0;
  std::string line;
  LineScan scan(fileno(file), size);
  while (scan.next()) {
    ++number;
    if (scan.length > LineBuffer::LINE_LIMIT) {
      return;  // the reader reports it
    }
    if (scan.head_size > 0 && scan.head[0] == '#') {
      if (!scan.text(line)) {
        return;
      }
      by_first_cell = time_first(line);
      if (first == size) {
        header_bytes += line.size();
        if (header_bytes > LineBuffer::LINE_LIMIT) {
          return;  // hardly a statistics file: not worth holding
        }
        headers.push_back({line, number});
      } else {
        last = scan.end;
      }
      continue;
    }
    // The first cell as the reader reads it: from the line's first bytes, up to a NUL.
    scan.head[scan.head_size] = '\0';
    char* p = skip_delimiters(scan.head);
    const bool cut = scan.head_size < scan.length;
    if (!by_first_cell || *p == '\0') {
      return;  // a time the first cell does not give, or a line that ends the input
    }
    const auto time = static_cast<std::int64_t>(read_count(p));
    if (cut && p == scan.head + scan.head_size) {
      return;  // the cell goes on past the bytes looked at
    }
    if (skip_before <= time && time < window_until) {
      if (first == size) {
        first = scan.start;
        first_number = number - 1;
      }
      last = scan.end;
    }
  }
  if (scan.end < size) {
    return;  // a read failed: the reader reports it
  }
  if (first == size) {
    first_number = number;
    last = size;
  }
  // The header lines before the window reach the check and make their layouts, in order, as if
  // read; the last of them is the layout of the rows that follow.
  for (HeaderAt& h : headers) {
    if (line_check) {
      line_check(h.text.c_str(), h.text.size(), h.number);
    }
    header = std::make_shared<Context>(h.text.data());
  }
  // The reader starts afresh at the window's first row: what it read of the file's top is
  // dropped, and its line numbers go on from the lines passed over.
  lseek(fileno(file), static_cast<off_t>(first), SEEK_SET);
  const std::size_t recent = std::min(first, LineBuffer::RECENT_SIZE);
  line.resize(recent);
  if (recent > 0 && !read_at(fileno(file), line.data(), recent, first - recent)) {
    line.clear();
  }
  lines->restart(line, first_number);
  end_offset = static_cast<off_t>(last);
}

}  // namespace perflib
