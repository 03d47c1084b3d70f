// Reads a statistics file line by line: header lines become Contexts, data lines Records in the
// layout of the header before them. A file whose first line is data reads as "#time,sdrops".
// In tail mode the reader waits at the end of the file for the next line, without spinning; a
// line is read once it is complete (a writer's line can reach the reader in parts). It follows
// the path as `tail -F` does: when the path names a new file (the old one renamed or deleted), it
// reads what remains of the old one and goes on from the start of the new one; when the file is
// truncated in place, it starts again from the top, keeping its layout.
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

#include "export.h"
#include "record.h"

namespace perflib {

class FileFollower;

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
  // <path>: <reason>" once the lines before the damage have been returned.
  virtual RecordPtr read_next();
  // Time of the record returned last; 0 before the first and after the end.
  virtual std::int64_t get_prev_time();
  virtual void do_destruct();
  virtual void init(FILE* stream, bool tail, const std::string& name);
  virtual void close();

 protected:
  FILE* file = nullptr;
  std::string name;
  bool tail = false;
  RecordPtr previous;

 private:
  RecordPtr make_record(const std::shared_ptr<Context>& layout, char* line);
  ssize_t read_line();
  ssize_t finish_line(ssize_t length);
  void follow();
  std::unique_ptr<FileFollower> follower;  // in tail mode
  std::string unfinished;                  // in tail mode, the start of a line still being written
  char* line = nullptr;                    // getdelim's buffer, kept across calls
  std::size_t capacity = 0;
  std::function<std::string()> decompression_error;  // set for a compressed file only
};

}  // namespace perflib

#endif
