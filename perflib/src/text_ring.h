// SPDX-License-Identifier: Apache-2.0
// A ring of fixed capacity between one writer and one reader of a byte stream. Positions count
// bytes from the start of the stream: the byte at position p sits at p % capacity. The writer
// appends at position written, the reader takes from position read; the bytes in between are
// the text not read yet, the rest of the ring is free. Each side works on the contiguous run at
// its position (up to the physical end of the ring, where the next run starts again at offset 0).
//
// The ring does no locking: a user with two threads guards the calls with its own mutex and
// copies into or out of the runs outside it (the writer's run and the reader's run never
// overlap).
#ifndef PERFLIB_SRC_TEXT_RING_H
#define PERFLIB_SRC_TEXT_RING_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace perflib {

class TextRing {
 public:
  explicit TextRing(std::size_t capacity)
      : bytes(new unsigned char[capacity]), capacity(capacity) {}

  std::size_t size() const { return capacity; }
  std::size_t unread() const { return static_cast<std::size_t>(written - read); }
  std::size_t free() const { return capacity - unread(); }

  // Where the writer writes next, and how many bytes it may write there in one piece.
  unsigned char* write_run() const { return bytes.get() + offset(written); }
  std::size_t write_run_size() const { return std::min(free(), capacity - offset(written)); }
  void wrote(std::size_t n) { written += n; }

  // Where the reader reads next, and how many bytes it may read there in one piece.
  const unsigned char* read_run() const { return bytes.get() + offset(read); }
  std::size_t read_run_size() const { return std::min(unread(), capacity - offset(read)); }
  void consumed(std::size_t n) { read += n; }

 private:
  std::size_t offset(std::uint64_t position) const {
    return static_cast<std::size_t>(position % capacity);
  }

  std::unique_ptr<unsigned char[]> bytes;
  std::size_t capacity;
  std::uint64_t written = 0;
  std::uint64_t read = 0;
};

}  // namespace perflib

#endif
