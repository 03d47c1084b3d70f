// One input of the merge: a log reader that folds its consecutive rows of one time bucket into
// one pending record and hands it to that bucket when its rows move on to another bucket.
#ifndef VEXIL_VEXIL_FILE_H
#define VEXIL_VEXIL_FILE_H

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "bucket.h"
#include "perflib"
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

  perflib::RecordPtr pending;
  std::shared_ptr<Bucket> current;
  BucketMap& map;
  // Rows outside it are passed over; in tail mode a row at or after its end ends the input.
  const TimeWindow* window = nullptr;

 private:
  perflib::RecordPtr next_record();
  void note_skipped();

  std::deque<std::string> history;
  std::unique_ptr<perflib::LogFile> history_file;
  std::shared_ptr<perflib::Context> layout;  // of the last row of the history taken
  std::int64_t last_time = 0;                // of the last row taken
  bool took_any = false;
  bool skipping = false;  // from the start of a file, until a row is later than last_time
  std::uint64_t skipped = 0;
};

std::unique_ptr<VexilFile> make_file(const std::string& path, bool tail, BucketMap& map);

}  // namespace vexil

#endif
