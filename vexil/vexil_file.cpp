// SPDX-License-Identifier: Apache-2.0
#include "vexil_file.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>

#include "bucket_map.h"

namespace vexil {

VexilFile::VexilFile(const std::string& path, bool tail, BucketMap& map)
    : perflib::LogFile(path, tail), map(map) {}

namespace {

// A predecessor read as part of the same input: its lines before any header of its own take the
// layout the history had so far, as they would in one file.
class HistoryFile : public perflib::LogFile {
 public:
  HistoryFile(const std::string& path, const std::shared_ptr<perflib::Context>& layout)
      : perflib::LogFile(path, false) {
    if (layout) {
      previous_record() = std::make_shared<perflib::Record>(layout, nullptr);
    }
  }
};

// One check followed through every file of an input: its state carries from file to file.
perflib::LogFile::LineCheck shared_check(const std::shared_ptr<StrictCheck>& check) {
  return [check](const char* line, std::size_t size, std::uint64_t number) {
    (*check)(line, size, number);
  };
}

}  // namespace

VexilFile::~VexilFile() {
  if (current) {
    if (torn_down) {
      current->finish(std::move(pending));
    } else {
      current->finish(std::move(pending), rows_placed + 1, input);
    }
  }
  note_skipped();
  note_late();
}

void VexilFile::check_strictly(const std::string& path) {
  live_path = path;
  strict_check = std::make_shared<StrictCheck>(path);
  set_line_check(shared_check(strict_check));
}

void VexilFile::read_history_first(std::vector<std::string> paths) {
  history.assign(std::make_move_iterator(paths.begin()), std::make_move_iterator(paths.end()));
}

void VexilFile::read_ahead(perflib::ParseAhead& pool, unsigned batch_rows) {
  ahead = pool.read(*this, batch_rows);
}

perflib::RecordPtr VexilFile::read_one(bool ready) {
  if (ahead) {
    return ahead->read_next();
  }
  return ready ? read_next_ready() : read_next();
}

perflib::RecordPtr VexilFile::next_record(bool ready) {
  if (history.empty() && !history_file && !skipping) {
    return read_one(ready);  // no history, or all of it read
  }
  for (;;) {
    perflib::RecordPtr r;
    if (history_file || !history.empty()) {
      if (!history_file) {
        history_file = std::make_unique<HistoryFile>(history.front(), layout);
        if (strict_check) {
          strict_check->start_file(history.front());
          history_file->set_line_check(shared_check(strict_check));
        }
        if (window != nullptr) {
          history_file->keep_window_index(window_index);
          history_file->read_window(window->since, window->until);
        }
        history.pop_front();
        skipping = took_any;
      }
      r = history_file->read_next();
      if (!r && !history_file->at_end()) {
        history.clear();  // a row that gives no values ends the input, as in one file
        return r;
      }
      if (!r) {
        history_file.reset();
        if (history.empty()) {  // on to this file itself
          if (strict_check) {
            strict_check->start_file(live_path);
          }
          if (layout) {
            previous_record() = std::make_shared<perflib::Record>(layout, nullptr);
          }
          skipping = took_any;
        }
        continue;
      }
      layout = r->get_context();
    } else {
      r = read_one(ready);
    }
    if (!r) {
      return r;  // the end, or no complete line yet: still skipping, if it was
    }
    if (skipping && r->get_time() <= last_time) {
      ++skipped;
      continue;
    }
    skipping = false;
    if (!history_file && history.empty()) {
      note_skipped();  // the history is read: its note comes now, also in tail mode
    }
    last_time = r->get_time();
    took_any = true;
    return r;
  }
}

std::int64_t VexilFile::get_prev_time() {
  return history_file ? history_file->get_prev_time() : perflib::LogFile::get_prev_time();
}

void VexilFile::note_skipped() {
  if (skipped > 0) {
    std::fprintf(stderr, "vexil: %s: %llu %s repeated across rotated files skipped\n",
                 name().c_str(), static_cast<unsigned long long>(skipped),
                 skipped == 1 ? "row" : "rows");
    skipped = 0;
  }
}

// The next row of the window, from the history first; nullptr at the end of the input, or when
// ready is set and no complete line is there yet.
perflib::RecordPtr VexilFile::next_in_window(bool ready) {
  perflib::RecordPtr r = next_record(ready);
  while (r && window != nullptr && !window->holds(r->get_time())) {
    if (tailing() && r->get_time() >= window->until) {
      ended_by_window = true;
      return nullptr;  // a followed file is written in time order: nothing more of it is wanted
    }
    r = next_record(ready);
  }
  if (!r) {
    note_skipped();
  }
  return r;
}

bool VexilFile::bucket_next() {
  perflib::RecordPtr r = next_in_window(false);
  if (!r) {
    return false;
  }
  place(std::move(r));
  return true;
}

VexilFile::Step VexilFile::bucket_next_ready(bool drop_late) {
  perflib::RecordPtr r = next_in_window(true);
  if (!r) {
    return would_block() && !ended_by_window ? kWaiting : kEnded;
  }
  ++rows_read;
  settled_time = std::min(last_row_time, r->get_time());
  last_row_time = r->get_time();
  if (drop_late && r->get_time() < map.printed_until) {
    ++late_rows;
    ++late_rows_dropped;
    return kRead;
  }
  if (lagging) {
    std::fprintf(stderr, "vexil: %s: caught up; %lld %s for buckets already printed %s dropped\n",
                 name().c_str(), static_cast<long long>(late_rows), late_rows == 1 ? "row" : "rows",
                 late_rows == 1 ? "was" : "were");
    lagging = false;
    late_rows = 0;
  }
  note_late();
  place(std::move(r));
  return kRead;
}

// Rows dropped while the input was not lagging (its time went back past what was printed).
void VexilFile::note_late() {
  if (late_rows > 0) {
    std::fprintf(stderr, "vexil: %s: %lld %s for buckets already printed %s dropped\n",
                 name().c_str(), static_cast<long long>(late_rows), late_rows == 1 ? "row" : "rows",
                 late_rows == 1 ? "was" : "were");
    late_rows = 0;
  }
}

void VexilFile::fall_behind(std::int64_t end) {
  if (current && current->time < end) {
    current->finish(std::move(pending), rows_placed + 1, input);
    current.reset();
  }
  if (!lagging) {
    std::fprintf(stderr, "vexil: %s: no row past %s; merging without it\n", name().c_str(),
                 utc_time_of_day(end).c_str());
    lagging = true;
  }
}

void VexilFile::place(perflib::RecordPtr r) {
  const std::int64_t t = r->get_time();
  ++rows_placed;
  if (!current) {
    current = map[t];
  }
  if (!current->should_contain(t)) {
    // Later or earlier: either way the stretch in the current bucket is over.
    current->finish(std::move(pending), rows_placed, input);
    current = map[t];
    pending = std::move(r);
    return;
  }
  if (!pending) {
    pending = std::move(r);
  } else {
    pending->single_instance_accumulate(r);
  }
}

std::string utc_time_of_day(std::int64_t t) {
  const auto seconds = static_cast<std::time_t>(t);
  std::tm utc{};
  char text[16] = "??:??:??Z";
  if (gmtime_r(&seconds, &utc) != nullptr) {
    std::strftime(text, sizeof text, "%H:%M:%SZ", &utc);
  }
  return text;
}

std::unique_ptr<VexilFile> make_file(const std::string& path, bool tail, BucketMap& map) {
  return std::make_unique<VexilFile>(path, tail, map);
}

}  // namespace vexil
