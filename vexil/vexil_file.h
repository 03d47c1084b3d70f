// SPDX-License-Identifier: Apache-2.0
// One input of the merge: a log reader that folds its consecutive rows of one time bucket into
// one pending record and hands it to that bucket when its rows move on to another bucket.
//
// With a lag limit (--max-lag) an input can be merged without: it is then lagging from the first
// bucket printed without it until it reads a row for a bucket not yet printed; the rows it reads
// meanwhile belong to buckets already printed and are dropped (and counted).
#ifndef VEXIL_VEXIL_FILE_H
#define VEXIL_VEXIL_FILE_H

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "bucket.h"
#include "perflib"
#include "strict_check.h"
#include "time_window.h"

namespace vexil {

class BucketMap;

class VexilFile : public perflib::LogFile {
 public:
  // Throws std::runtime_error "Unable to open file: <path>".
  VexilFile(const std::string& path, bool tail, BucketMap& map);
  ~VexilFile() override;  // the last pending record still reaches its bucket

  // Reads one record and places it; false at the end of the input.
  virtual bool bucket_next();

  // --rotated: reads these files (the rotated predecessors, oldest first) before this one, as
  // the same input. A row not later than the last row taken before it, where two files overlap
  // (a copy that repeats lines), is skipped; the skips are counted in one note on stderr.
  void read_history_first(std::vector<std::string> paths);
  // --strict: every line of the input, its history included, is checked (see StrictCheck).
  void check_strictly(const std::string& path);
  // The input is read ahead by ahead's threads from now on (only an input read from its start
  // to its end, without the options above).
  void read_ahead(perflib::ParseAhead& ahead, unsigned batch_rows);

  enum Step { kRead, kWaiting, kEnded };
  // Tail mode without waiting: reads one record if its lines are complete and places it, or drops
  // it when its bucket was printed already (drop_late; counted while lagging).
  Step bucket_next_ready(bool drop_late);
  // The bucket that ends at end is printed without this input: its rows so far go in, and the
  // first time it lags, stderr says so.
  void fall_behind(std::int64_t end);
  const std::string& path() const { return name(); }
  // Of the row returned last, also while the rotated history is read.
  std::int64_t get_prev_time() override;

  perflib::RecordPtr pending;
  std::shared_ptr<Bucket> current;
  BucketMap& map;
  // Rows outside it are passed over; in tail mode a row at or after its end ends the input.
  const TimeWindow* window = nullptr;
  // Where the window indexes of its files are kept (empty: nowhere).
  std::string window_index;
  // Its place among all inputs, the supplemental ones after the others: orders the stretches of
  // one bucket (see Bucket).
  std::size_t input = 0;
  // Set when the run is torn down after an error: the stretch left goes in after all others.
  bool torn_down = false;
  bool lagging = false;
  // The earlier of the times of its last two rows: how far it has surely come, one stray row from
  // the future left out (for the lag limit).
  std::int64_t settled_time = INT64_MIN;
  std::int64_t late_rows = 0;  // for buckets already printed, dropped and not yet reported
  // Since the start, in tail mode: rows read, and those of them dropped as late.
  std::uint64_t rows_read = 0;
  std::uint64_t late_rows_dropped = 0;

 private:
  perflib::RecordPtr read_one(bool ready);
  perflib::RecordPtr next_record(bool ready);
  perflib::RecordPtr next_in_window(bool ready);
  void place(perflib::RecordPtr r);
  void note_skipped();
  void note_late();

  std::deque<std::string> history;
  std::unique_ptr<perflib::LogFile> history_file;
  std::shared_ptr<perflib::Context> layout;  // of the last row of the history taken
  std::int64_t last_time = 0;                // of the last row taken
  bool took_any = false;
  bool skipping = false;  // from the start of a file, until a row is later than last_time
  std::uint64_t skipped = 0;
  std::shared_ptr<StrictCheck> strict_check;
  std::string live_path;         // for strict_check, once the history is read
  bool ended_by_window = false;  // in tail mode, a row past the window's end came
  std::unique_ptr<perflib::ParseAhead::Input> ahead;  // when read ahead
  std::uint64_t rows_placed = 0;
  std::int64_t last_row_time = INT64_MIN;
};

// HH:MM:SSZ of a time in seconds since the epoch, UTC.
std::string utc_time_of_day(std::int64_t t);

std::unique_ptr<VexilFile> make_file(const std::string& path, bool tail, BucketMap& map);

}  // namespace vexil

#endif
