// Opening a statistics file for reading whatever it is stored as. A plain file is an ordinary
// buffered stream. A file that begins with the signature of a gzip, zstd or xz stream is read
// through a stream of its decompressed text: a thread of its own decompresses ahead into a ring
// of fixed size, which the stream's reads copy out of in order, so decompression runs on another
// core than the parsing, and memory stays the same whatever the size of the file.
#ifndef PERFLIB_SRC_DECOMPRESSING_STREAM_H
#define PERFLIB_SRC_DECOMPRESSING_STREAM_H

#include <cstdio>
#include <functional>
#include <string>

namespace perflib {

struct InputStream {
  // The text of the file; the caller closes it (for a compressed file that also stops and joins
  // its thread). nullptr, with errno set, when the file cannot be opened.
  FILE* file = nullptr;
  bool compressed = false;
  // For a compressed file: after a read failed (ferror), why decompression stopped early, for
  // example "unexpected end of compressed data". Remains callable after the stream is closed.
  std::function<std::string()> error;
};

InputStream open_input_stream(const std::string& path);

}  // namespace perflib

#endif
