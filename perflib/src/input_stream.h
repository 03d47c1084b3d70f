// SPDX-License-Identifier: Apache-2.0
// Opening a statistics file for reading whatever it is stored as. A file that begins with the
// signature of a gzip, zstd or xz stream is read as its decompressed text, which a DecodingThread
// decompresses ahead of the reader; any other file is read as it is.
#ifndef PERFLIB_SRC_INPUT_STREAM_H
#define PERFLIB_SRC_INPUT_STREAM_H

#include <cstdio>
#include <memory>
#include <string>

#include "decoding_thread.h"

namespace perflib {

struct InputStream {
  // The text of the file, nullptr (with errno set) when it cannot be opened. A plain file is an
  // unbuffered stream, to be read with read(2) on its descriptor: its first bytes were read
  // already, and are in head. A compressed file is a stream that reads from decoding.
  FILE* file = nullptr;
  std::string head;
  // For a compressed file: the thread that decompresses it, owned here. Close file first, then
  // destroy this (which stops and joins the thread).
  std::unique_ptr<DecodingThread> decoding;
};

InputStream open_input_stream(const std::string& path);

}  // namespace perflib

#endif
