// SPDX-License-Identifier: Apache-2.0
// Reading ahead: the lines of several LogFiles read and their cells converted on other threads
// while the caller combines the records it already has.
//
// Each file is read in batches of rows, a few batches ahead of its reader at most, so memory
// stays bounded by the number of files. Helper threads fill the batches of the files closest to
// running dry; a reader that finds its next batch neither made nor being made makes it itself,
// so the work is shared whatever the speed of each side.
//
// The records handed out are those LogFile::read_next would return, byte for byte: a batch
// holds its rows' text and cell values converted in a preview of their layout, made from the same
// header line without registering anything in the built-in tables. The batch keeps every header
// line read, and the reader makes each into a layout when it passes it, as read_next would:
// header lines in a row and header lines with no row after them included, so the tables change
// in the same order (and a header line that cannot be made fails at the same point). A row
// takes the layout of the header line just before it, or its previous record's, which
// accumulation may have changed in place since; the reader converts the row's text again when
// the kinds of the columns no longer agree with the preview. No layout or record is shared
// between the threads. Memory running out on a helper ends the input with the error
// std::runtime_error "<path>: out of memory while reading ahead".
//
// For files opened by path and read from their start to their end: not followed, no line
// check, no window. A record that gives no values ends the input (see LogFile::read_next).
#ifndef PERFLIB_BITS_PARSE_AHEAD_H
#define PERFLIB_BITS_PARSE_AHEAD_H

#include <memory>

#include "export.h"
#include "log_file.h"
#include "record.h"

namespace perflib {

// Both classes hold only pointers to state private to the library, so neither changes size.
class PERFLIB_EXPORT ParseAhead {
 public:
  class Input;

  // helpers: the threads to start besides the reader's own (at least 1; fewer where the system
  // refuses more). Throws std::system_error when not even one can start.
  explicit ParseAhead(unsigned helpers);
  ~ParseAhead();  // stops the helpers; inputs still open are then read by their reader alone
  ParseAhead(const ParseAhead&) = delete;
  ParseAhead& operator=(const ParseAhead&) = delete;

  // From now on file is read through the returned input only, until it is destroyed; file must
  // stay open while it lives. batch_rows: the rows of one batch (each file has at most four).
  std::unique_ptr<Input> read(LogFile& file, unsigned batch_rows);

 private:
  struct Batch;
  struct InputState;
  struct Shared;

  static void run(const std::shared_ptr<Shared>& shared);
  static void fill(InputState& input, Batch& batch);
  static RecordPtr take(Shared& shared, InputState& input);

  std::shared_ptr<Shared> shared;
};

class PERFLIB_EXPORT ParseAhead::Input {
 public:
  ~Input();  // waits for a helper still reading the file
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  // The next record of the file, as file.read_next() would return it (errors included, after
  // the records before them); sets the file's previous record as read_next does.
  RecordPtr read_next();

 private:
  friend class ParseAhead;
  Input(std::shared_ptr<Shared> shared, std::shared_ptr<InputState> state);
  std::shared_ptr<Shared> shared;
  std::shared_ptr<InputState> state;
};

}  // namespace perflib

#endif
