// SPDX-License-Identifier: Apache-2.0
#include "line_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace perflib {

namespace {

constexpr std::size_t FIRST_CAPACITY = 2 * LineBuffer::BLOCK_SIZE;
// A line at the limit (without its "\n"), the recent text before it and a block of room.
constexpr std::size_t MOST_CAPACITY =
    LineBuffer::RECENT_SIZE + LineBuffer::LINE_LIMIT + LineBuffer::BLOCK_SIZE;

}  // namespace

LineBuffer::LineBuffer(std::string name) : name(std::move(name)) {}

LineBuffer::~LineBuffer() {
  std::free(bytes);
}

char* LineBuffer::room() {
  restore_newline();
  make_room();
  return bytes + end;
}

std::size_t LineBuffer::room_size() const {
  return capacity - end;
}

void LineBuffer::added(std::size_t n) {
  end += n;
}

char* LineBuffer::next_line(std::size_t& length) {
  restore_newline();
  const char* newline =
      scanned == end ? nullptr
                     : static_cast<const char*>(std::memchr(bytes + scanned, '\n', end - scanned));
  const std::size_t stop = newline == nullptr ? end : static_cast<std::size_t>(newline - bytes);
  if (stop - begin > LINE_LIMIT) {
    throw std::runtime_error(name + ": line " + std::to_string(lines + 1)
                             + " is longer than 16 MiB");
  }
  if (newline == nullptr) {
    scanned = end;
    return nullptr;
  }
  char* line = bytes + begin;
  bytes[stop] = '\0';  // "\n" ends a cell as the end of the text does; put back on the next call
  newline_at = stop;
  length = stop + 1 - begin;
  begin = scanned = stop + 1;
  ++lines;
  return line;
}

char* LineBuffer::rest(std::size_t& length) {
  if (begin == end) {
    return nullptr;
  }
  char* line = bytes + begin;
  bytes[end] = '\0';  // the byte after the capacity is there for this
  length = end - begin;
  begin = scanned = end;
  ++lines;
  return line;
}

std::string_view LineBuffer::recent() const {
  const std::size_t size = std::min(end, RECENT_SIZE);
  return {bytes + end - size, size};
}

void LineBuffer::restore_newline() {
  if (newline_at != NONE) {
    bytes[newline_at] = '\n';
    newline_at = NONE;
  }
}

void LineBuffer::clear() {
  newline_at = NONE;
  begin = scanned = end = 0;
  lines = 0;
}

void LineBuffer::restart(std::string_view recent, std::uint64_t lines_before) {
  clear();
  std::memcpy(room(), recent.data(), recent.size());
  begin = scanned = end = recent.size();
  lines = lines_before;
}

void LineBuffer::make_room() {
  if (bytes != nullptr && capacity - end >= BLOCK_SIZE) {
    return;
  }
  const std::size_t keep_from = begin - std::min(begin, RECENT_SIZE);
  if (keep_from > 0) {
    std::memmove(bytes, bytes + keep_from, end - keep_from);
    begin -= keep_from;
    scanned -= keep_from;
    end -= keep_from;
  }
  if (bytes != nullptr && capacity - end >= BLOCK_SIZE) {
    return;
  }
  // Text up to the line limit is held (a longer line was refused before more was read), so
  // the buffer never grows past the most it needs.
  const std::size_t size =
      std::min(std::max({FIRST_CAPACITY, 2 * capacity, end + BLOCK_SIZE}), MOST_CAPACITY);
  char* larger = static_cast<char*>(std::realloc(bytes, size + 1));
  if (larger == nullptr) {
    throw std::bad_alloc();
  }
  bytes = larger;
  capacity = size;
}

}  // namespace perflib
