// SPDX-License-Identifier: Apache-2.0
// Reading only the part of a plain file that holds a window of times.
//
// One pass over the file looks at the first cell of every line, without making records: the
// reader then starts at the first row of the window and stops after its last one, so a file
// whose clock stepped back gives exactly its rows of the window too. Every row passed over is
// one that reading the whole file would have passed over too (before since, or at or after
// until); a line whose effect the pass cannot tell from its first cell (one that would end the
// input, one too long, one in a layout whose time is not its first column) has the file read
// from its top instead. With a directory for them, what the pass learns is kept in a window
// index (window_index.h), and a later window over the same file, unchanged, is found from it
// instead, reading only the stretches of the file the window meets.
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <string>

#include "layout_preview.h"
#include "line_scan.h"
#include "log_file_impl.h"
#include "window_index.h"

namespace perflib {

namespace {

// Whether the rows under a layout have their time as their first cell.
bool time_first(const Context& layout) {
  return layout.time_index() == 0;
}

bool time_first(const std::string& header) {
  const std::shared_ptr<const Context> layout = preview_layout(header.c_str());
  return !layout->fields.empty()
         && *layout->fields[0].name == (layout->version == LV_TRELK_3 ? "timestamp" : "time");
}

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

void LogFile::keep_window_index(const std::string& directory) {
  impl->window_index = directory;
}

namespace {

enum class Search {
  kFound,      // the window is found
  kReadWhole,  // a line the first cell cannot judge: the file is read from its top
  kNot         // read from the top too, but for a reason of this window or this reader only, or
               // a read failed: nothing is learned for the next
};

// The one pass over the file: looks at the first cell of every line, and keeps what it learns in
// index. by_first_cell: whether the rows before the first header line have the time first.
Search search(int fd, std::size_t size, std::int64_t since, std::int64_t until, bool by_first_cell,
              WindowIndex& index, WindowFound& found) {
  std::size_t header_bytes = 0;  // of the header lines before the window
  bool headed = false;           // a header line was read
  found = {size, 0, 0, {}};
  std::uint64_t number = 0;
  std::string line;
  LineScan scan(fd, size);
  while (scan.next()) {
    index.line(scan.start, number);
    ++number;
    if (scan.length > LineBuffer::LINE_LIMIT) {
      index.read_whole();
      return Search::kReadWhole;  // the reader reports it
    }
    if (scan.head_size > 0 && scan.head[0] == '#') {
      if (!scan.text(line)) {
        return Search::kNot;
      }
      by_first_cell = time_first(line);
      headed = true;
      index.header(scan.start, number, line.size(), by_first_cell);
      if (found.first == size) {
        header_bytes += line.size();
        if (header_bytes > LineBuffer::LINE_LIMIT) {
          return Search::kNot;  // hardly a statistics file: not worth holding
        }
        found.headers.push_back({line, number});
      } else {
        found.last = scan.end;
      }
      continue;
    }
    if (!by_first_cell) {
      // A time the first cell does not give: in a layout of the file's, or in that of the record
      // before the file (another reader may come with another).
      if (headed) {
        index.read_whole();
        return Search::kReadWhole;
      }
      return Search::kNot;
    }
    std::int64_t time = 0;
    if (!scan.first_cell_time(time)) {
      index.read_whole();
      return Search::kReadWhole;  // a line that ends the input, or a cell past the bytes looked at
    }
    index.row(time);
    if (since <= time && time < until) {
      if (found.first == size) {
        found.first = scan.start;
        found.first_number = number - 1;
      }
      found.last = scan.end;
    }
  }
  if (scan.end < size) {
    return Search::kNot;  // a read failed: the reader reports it
  }
  index.end(number);
  if (found.first == size) {
    found.first_number = number;
    found.last = size;
  }
  return Search::kFound;
}

}  // namespace

void LogFileImpl::find_window() {
  window_pending = false;
  const int fd = fileno(file);
  struct stat status;
  if (fstat(fd, &status) != 0) {
    return;
  }
  struct timespec began {};
  clock_gettime(CLOCK_REALTIME_COARSE, &began);
  const auto size = static_cast<std::size_t>(status.st_size);
  const bool by_first_cell =
      previous ? time_first(*previous->get_context()) : true;  // "#time,sdrops"
  WindowFound found;
  WindowIndex index;
  if (!window_index.empty() && WindowIndex::load(window_index, status, index)) {
    switch (index.find(fd, size, skip_before, window_until, by_first_cell, found)) {
      case WindowIndex::kFound:
        start_window(found);
        return;
      case WindowIndex::kReadWhole:
        return;
      case WindowIndex::kUnusable:
        index = WindowIndex();
        break;  // the pass finds it, and indexes the file anew
    }
  }
  const Search outcome = search(fd, size, skip_before, window_until, by_first_cell, index, found);
  if (!window_index.empty() && outcome != Search::kNot) {
    index.save(window_index, fd, status, began);
  }
  if (outcome == Search::kFound) {
    start_window(found);
  }
}

void LogFileImpl::start_window(WindowFound& found) {
  // The header lines before the window reach the check and make their layouts, in order, as if
  // read; the last of them is the layout of the rows that follow.
  for (WindowFound::Header& h : found.headers) {
    if (line_check) {
      line_check(h.text.c_str(), h.text.size(), h.number);
    }
    header = std::make_shared<Context>(h.text.data());
  }
  // The reader starts afresh at the window's first row: what it read of the file's top is
  // dropped, and its line numbers go on from the lines passed over.
  const std::size_t first = found.first;
  lseek(fileno(file), static_cast<off_t>(first), SEEK_SET);
  const std::size_t recent = std::min(first, LineBuffer::RECENT_SIZE);
  std::string line(recent, '\0');
  if (recent > 0 && !read_at(fileno(file), line.data(), recent, first - recent)) {
    line.clear();
  }
  lines->restart(line, found.first_number);
  end_offset = static_cast<off_t>(found.last);
}

}  // namespace perflib
