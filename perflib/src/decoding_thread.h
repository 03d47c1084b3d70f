// SPDX-License-Identifier: Apache-2.0
// The thread that decompresses one compressed file ahead of its reader. It reads the compressed
// bytes, decodes them with a StreamDecoder and writes the text into a ring of fixed size; the
// reader copies the text out of the ring in order. Decompression so runs on another core than
// the parsing, and memory stays the same whatever the size of the file: the decoder's own
// history window plus the ring and an input buffer.
//
// Hand-over: the thread waits while the ring is full, and once it was full, until most of it is
// free again, so it wakes seldom and decodes much in one go (switching between the files of a
// merge costs more than decoding when the pieces are small). The reader waits while the ring is
// empty and decoding goes on.
//
// Whoever holds the DecodingThread owns the thread: destroying it stops the thread (also in the
// middle of the file) and joins it.
#ifndef PERFLIB_SRC_DECODING_THREAD_H
#define PERFLIB_SRC_DECODING_THREAD_H

#include <sys/types.h>

#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "stream_decoder.h"
#include "text_ring.h"

namespace perflib {

struct FileCloser {
  void operator()(FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

class DecodingThread {
 public:
  // Starts decoding source, whose first head_size bytes were already read into head.
  DecodingThread(FilePtr source, std::unique_ptr<StreamDecoder> decoder, const unsigned char* head,
                 std::size_t head_size);
  ~DecodingThread();
  DecodingThread(const DecodingThread&) = delete;
  DecodingThread& operator=(const DecodingThread&) = delete;

  // Copies up to size bytes of the text: 0 at its end, -1 (errno EIO) when decompression failed,
  // once all the text decoded before the failure has been read.
  ssize_t read(char* buffer, std::size_t size);
  // After read returned -1: why decompression stopped, e.g. "unexpected end of compressed data".
  std::string error() const;

 private:
  void run();
  void decode_all();
  std::size_t read_input();
  bool reserve(DecodeBuffers& b);
  void publish(std::size_t size);

  FilePtr source;
  std::unique_ptr<StreamDecoder> decoder;
  std::vector<unsigned char> input;
  std::size_t head_size;  // bytes at the start of input already read to recognise the format

  mutable std::mutex mutex;
  std::condition_variable written_cv;
  std::condition_variable released_cv;
  TextRing ring;
  bool reader_waiting = false;
  bool writer_waiting = false;
  bool finished = false;
  bool closing = false;
  std::string failure;  // written before finished is set

  std::thread worker;  // last: it starts once everything above is in place
};

}  // namespace perflib

#endif
