// SPDX-License-Identifier: Apache-2.0
// Internal: what the search for a window (log_file_seek.cpp) learns of a plain file in its one
// pass, kept in a directory so that a later window over the same file, unchanged, reads only the
// part of the file the window needs.
//
// The index divides the file into stretches of about 64 KiB that begin at line starts, and keeps
// for each its offset, the lines before it and the earliest and latest time of its data rows;
// and every header line: its offset, number, length and whether its layout has the time first.
// A window looks only at the stretches whose times meet it, to find its first and last rows
// exactly, and reads the header lines before it by their offsets. Where the pass finds a line it
// cannot judge by its first cell, the index holds only that, and the file is read from its top.
//
// An index is found by the file's device and inode, and holds the file's size and its times of
// last modification and change: when any of them differs, or the index does not hold together
// (its magic, version or checksum, offsets not ascending or past the size, a stretch whose lines
// are not what it says), it is not used, and the pass makes it anew. One is written only for a
// file whose last change the file system's clock has passed (so a later change has another time),
// and that did not change during the pass; through a temporary file renamed into place, so runs
// at the same time read a whole index or none. Failing to write one is not an error.
#ifndef PERFLIB_SRC_WINDOW_INDEX_H
#define PERFLIB_SRC_WINDOW_INDEX_H

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace perflib {

// Where the rows of a window lie in a file, and what must reach the reader before them.
struct WindowFound {
  struct Header {
    std::string text;      // "\n" left out
    std::uint64_t number;  // in the file, from 1
  };
  std::size_t first = 0;           // the start of the window's first row; the size when none
  std::uint64_t first_number = 0;  // the lines before it (all of them when none)
  std::size_t last = 0;            // the end of the last line to read
  std::vector<Header> headers;     // the header lines before first
};

class WindowIndex {
 public:
  static constexpr std::size_t STRETCH = std::size_t{64} << 10;
  static constexpr std::size_t MOST_HEADERS = std::size_t{1} << 16;  // more: none is kept

  // While the pass goes through the file, in order: at the start of every line (and lines before
  // it), for every data row's time, and for every header line.
  void line(std::size_t start, std::uint64_t before) {
    if (stretches.empty() || start - stretches.back().offset >= STRETCH) {
      stretches.push_back({start, before, INT64_MAX, INT64_MIN});
    }
  }
  void row(std::int64_t time) {
    Stretch& s = stretches.back();
    s.min = time < s.min ? time : s.min;
    s.max = time > s.max ? time : s.max;
    rows_before_header = rows_before_header || headers.empty();
  }
  void header(std::size_t start, std::uint64_t number, std::size_t length, bool time_first);
  // The pass met a line whose effect its first cell does not tell: the file is read from its top.
  void read_whole();
  // The pass reached the end of the file, after lines lines.
  void end(std::uint64_t lines) { line_count = lines; }

  enum Answer { kFound, kReadWhole, kUnusable };
  // The window [since, until) of the file fd (of size bytes) as the pass would find it: kFound
  // and found, kReadWhole where the pass would read from the top instead, kUnusable where the
  // index does not match the file (or a read failed). top_by_first_cell: whether the rows before
  // the first header line, in the layout of the record before the file, have the time first.
  Answer find(int fd, std::size_t size, std::int64_t since, std::int64_t until,
              bool top_by_first_cell, WindowFound& found) const;

  // The index of file kept in directory, into into: false when there is none that fits it.
  static bool load(const std::string& directory, const struct stat& file, WindowIndex& into);
  // Keeps the index of the file fd, which was file when the pass began at time began, in
  // directory (unless the file has changed since, or may still change within that time).
  void save(const std::string& directory, int fd, const struct stat& file,
            const struct timespec& began) const;

 private:
  struct Stretch {
    std::size_t offset;     // a line start
    std::uint64_t line;     // lines before it
    std::int64_t min, max;  // of its data rows' times (INT64_MAX, INT64_MIN: none)
  };
  struct Header {
    std::size_t offset;
    std::uint64_t number;  // from 1
    std::size_t length;    // "\n" left out
    bool time_first;
  };
  struct Rows {  // the rows of a window in one stretch
    std::size_t first = SIZE_MAX, last = 0;
    std::uint64_t first_number = 0;
  };

  bool rows(int fd, std::size_t size, std::size_t i, std::int64_t since, std::int64_t until,
            Rows& r) const;
  bool holds_together(std::size_t size) const;

  bool whole = false;               // read from the top
  bool rows_before_header = false;  // data rows before the first header line
  bool too_many = false;            // header lines: nothing is kept
  std::uint64_t line_count = 0;
  std::vector<Stretch> stretches;
  std::vector<Header> headers;
};

}  // namespace perflib

#endif
