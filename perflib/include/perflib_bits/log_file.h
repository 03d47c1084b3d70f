// SPDX-License-Identifier: Apache-2.0
// Reads a statistics file line by line: header lines become Contexts, data lines Records in the
// layout of the header before them. A file whose first line is data reads as "#time,sdrops".
// In tail mode the reader waits at the end of the file for the next line, without spinning; a
// line is read once it is complete (a writer's line can reach the reader in parts). It follows
// the path as `tail -F` does: when the path names a new file (the old one renamed or deleted), it
// reads what remains of the old one and goes on from the start of the new one; when the file is
// truncated in place, it starts again from the top, keeping its layout. A file counts as
// truncated when it is shorter than what was read, and also when the bytes just before the
// reader's position are no longer those it read (truncated and written past that point while
// the reader looked elsewhere): no byte of the new text is taken to continue the old.
//
// A line longer than 16 MiB ends the input with an error (see read_next), so a file without line
// ends cannot take all memory. Plain files opened by path are read in blocks of 128 KiB or more.
//
// Opened by path, a file that begins with the signature of a gzip, zstd or xz stream is read as
// its decompressed text (concatenated gzip members, zstd frames and xz streams one after
// another), decompressed ahead of the reader by a thread of its own into a ring of fixed size.
// Any other file is read as it is. A compressed file does not grow, so in tail mode it ends at
// the end of its text like a file read without tail mode (also when the path comes to name one).
// A stream given as FILE* is read as it is, compressed or not.
#ifndef PERFLIB_BITS_LOG_FILE_H
#define PERFLIB_BITS_LOG_FILE_H

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "export.h"
#include "record.h"

namespace perflib {

class LogFileImpl;
class ParseAhead;

class PERFLIB_EXPORT LogFile {
 public:
  // Throws std::runtime_error "Unable to open file: <path>".
  LogFile(const std::string& path, bool tail);
  LogFile(FILE* stream, bool tail);
  virtual ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // The next record, or empty at the end (and for a data line that gives no values). In tail
  // mode a read error throws std::runtime_error "File read error", and a new file at the path that
  // cannot be opened "Unable to open file: <path>".
  // A compressed file that is truncated or corrupt throws, in either mode, "File read error:
  // <path>: <reason>" once the lines before the damage have been returned. A line longer than
  // 16 MiB throws "<path>: line <n> is longer than 16 MiB" (n counts from 1 at the file's top).
  virtual RecordPtr read_next();
  // In tail mode, the next record if the lines that make it are complete in the file now;
  // otherwise empty at once, without waiting, and would_block() is true (a header line read so
  // far is kept for the next call). Empty with would_block() false is the end, as for read_next,
  // which it otherwise equals, errors included.
  RecordPtr read_next_ready();
  bool would_block() const;
  // Not in tail mode: whether the end of the file was read (read_next's empty record was not a
  // data line that gives no values).
  bool at_end() const;
  // Returns when any of files (those in tail mode) may have changed, after timeout_ms at the
  // latest: with the files watched, at most half a second; where one cannot be watched, at most
  // 200 ms.
  static void wait_any(const std::vector<LogFile*>& files, int timeout_ms);
  // Time of the record returned last; 0 before the first and after the end.
  virtual std::int64_t get_prev_time();
  virtual void do_destruct();
  // Called with every line read, header or data, before it is used: its text (NUL-terminated,
  // "\n" left out), its size in bytes (NULs in the line included) and its number in the file.
  // An exception it throws leaves read_next.
  using LineCheck = std::function<void(const char* line, std::size_t size, std::uint64_t number)>;
  void set_line_check(LineCheck check);
  // Reads the rows with since <= time < until: passes over the data lines before since (by
  // their first cell) without making records of them. A plain file opened by path and not
  // followed, of which nothing was read yet, is read only from its first row of the window to
  // its last (and its last header line), in whatever order its rows are: when it is first read,
  // one pass over the file finds them by the lines' first cells. The header lines before that
  // reach the line check (with their numbers in the file) and make their layouts then, as if
  // read; line numbers stay those of the file. Where a line's effect cannot be told from its
  // first cell (a line that gives no values, a line over 16 MiB, rows in a layout whose time is
  // not the first column) the file is read from its top instead. Rows outside the window that
  // are read are returned as any other.
  void read_window(std::int64_t since, std::int64_t until);
  // Before read_window: its pass keeps what it learns of the file (where its times and header
  // lines are) in an index in directory, which must exist, and a later read_window over the same
  // file, unchanged, reads only the part of it the window needs instead of passing over all of
  // it, with the same result. An index is used only while the file's device, inode, size and
  // times of modification and change are those it was made for, and is made anew when it does
  // not fit or cannot be read; failing to write one is silent. Empty (the default): none.
  void keep_window_index(const std::string& directory);
  virtual void init(FILE* stream, bool tail, const std::string& name);
  virtual void close();

 protected:
  // For readers derived from this one: the path the file was opened by (empty for a stream), and
  // whether it is followed (a followed path that comes to name a compressed file stops being).
  const std::string& name() const;
  bool tailing() const;
  // The record returned last: a reader may set it before the first read, to give the rows that
  // come before any header line its layout.
  RecordPtr& previous_record();

 private:
  friend class ParseAhead;  // reads the lines of a file it reads ahead
  friend class LogFileImpl;
  // Everything the reader keeps lives behind this pointer, so the class's size and layout stay
  // those of this release whatever the reader comes to keep.
  std::unique_ptr<LogFileImpl> impl;
};

}  // namespace perflib

#endif
