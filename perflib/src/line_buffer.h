// SPDX-License-Identifier: Apache-2.0
// The text of a file on its way to being split into lines. The reader reads large blocks of the
// file into the buffer's free room; the buffer hands out each complete line in place (no copy),
// ends it with a NUL and leaves it writable until the next call. Text after the last complete
// line stays until the rest of its line arrives; it is moved to the front of the buffer when
// room runs short, together with a few bytes before it (the recent text, which tells whether a
// followed file still holds what was read).
//
// A line may be at most LINE_LIMIT bytes long (its "\n" not counted): a longer one, complete or
// not, is an error, so an input without line ends (a binary file, a writer that died mid-line)
// cannot take all memory. The buffer never holds more than a line at its limit and one block.
#ifndef PERFLIB_SRC_LINE_BUFFER_H
#define PERFLIB_SRC_LINE_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace perflib {

class LineBuffer {
 public:
  static constexpr std::size_t BLOCK_SIZE = 128 * 1024;  // the least room a read is given
  static constexpr std::size_t LINE_LIMIT = std::size_t{16} << 20;
  static constexpr std::size_t RECENT_SIZE = 64;

  // name: what a "line is longer than" error calls the input.
  explicit LineBuffer(std::string name);
  ~LineBuffer();
  LineBuffer(const LineBuffer&) = delete;
  LineBuffer& operator=(const LineBuffer&) = delete;

  // The room the next read fills: at least BLOCK_SIZE bytes.
  char* room();
  std::size_t room_size() const;
  // n bytes were read into the room.
  void added(std::size_t n);

  // The next complete line, "\n" included, and its length; nullptr when no complete line is
  // held. Throws std::runtime_error "NAME: line N is longer than 16 MiB".
  char* next_line(std::size_t& length);
  // The text after the last complete line as a line of its own (at the end of a file whose last
  // line has no "\n"); nullptr when there is none.
  char* rest(std::size_t& length);
  bool has_rest() const { return begin != end; }
  // The number of the line handed out last, counting from 1 at the start of the file.
  std::uint64_t line_number() const { return lines; }
  // Up to RECENT_SIZE bytes of the text just before the end of what was added, as read (after
  // room(), which puts back what handing out a line changed).
  std::string_view recent() const;
  // Drops all text: the file starts again, line numbers too.
  void clear();
  // Drops all text, for a reader moved into the middle of its file: recent is the text just
  // before the new position, lines_before the number of lines before it.
  void restart(std::string_view recent, std::uint64_t lines_before);

 private:
  void make_room();
  void restore_newline();
  static constexpr std::size_t NONE = ~std::size_t{0};

  std::string name;
  char* bytes = nullptr;
  std::size_t capacity = 0;       // of bytes; one byte more is always allocated, for a NUL
  std::size_t begin = 0;          // of the first line not handed out
  std::size_t scanned = 0;        // from begin on, the text known to hold no "\n"
  std::size_t end = 0;            // of the text
  std::uint64_t lines = 0;        // handed out since the start of the file
  std::size_t newline_at = NONE;  // where the "\n" of the line handed out last was
};

}  // namespace perflib

#endif
