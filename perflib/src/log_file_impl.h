// SPDX-License-Identifier: Apache-2.0
// What a LogFile keeps and does behind its pointer: the open file, its line buffer, its follower
// and decoding thread, the window and the record returned last. Private to the library, so it can
// grow without changing LogFile's size.
#ifndef PERFLIB_LOG_FILE_IMPL_H
#define PERFLIB_LOG_FILE_IMPL_H

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "decoding_thread.h"
#include "file_follower.h"
#include "input_stream.h"
#include "line_buffer.h"
#include "perflib_bits/log_file.h"
#include "window_index.h"

namespace perflib {

class LogFileImpl {
 public:
  explicit LogFileImpl(LogFile& self) : self(self) {}

  RecordPtr make_record(const std::shared_ptr<Context>& layout, char* line);
  RecordPtr next_record(bool wait);
  char* read_line(bool wait);
  ssize_t read_block();
  off_t position() const;
  void start_over();
  bool follow(bool wait);
  void take(InputStream& input);
  void read_window(std::int64_t since, std::int64_t until);
  void find_window();
  void start_window(WindowFound& found);

  LogFile& self;  // for close(), which a derived reader may override
  FILE* file = nullptr;
  std::string name;
  bool tail = false;
  RecordPtr previous;
  std::unique_ptr<LineBuffer> lines;
  std::unique_ptr<FileFollower> follower;    // in tail mode
  std::unique_ptr<DecodingThread> decoding;  // for a compressed file: decompresses it
  bool own_descriptor = false;  // a plain file opened here: read with read(2), in large blocks
  bool ended = false;           // the end of the file was read (not in tail mode)
  bool failed = false;          // a read failed
  bool in_hole = false;         // after a rewind, until a byte that is not NUL was read
  std::int64_t skip_before = INT64_MIN;   // data lines earlier than this are passed over
  off_t end_offset = -1;                  // where reading stops, if not at the end of the file
  std::int64_t window_until = INT64_MAX;  // of the window read_window looks for
  bool window_pending = false;            // read_window's search is to be made at the first read
  std::string window_index;               // the directory of the window indexes, if any
  LogFile::LineCheck line_check;
  std::size_t line_size = 0;        // of the line read_line returned last
  bool blocked = false;             // read_next_ready found no complete line
  std::shared_ptr<Context> header;  // of the header line read last, until a data line follows
};

}  // namespace perflib

#endif
