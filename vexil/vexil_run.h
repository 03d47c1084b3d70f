// SPDX-License-Identifier: Apache-2.0
// The merge: one reader per input, one record from every live input per pass, and after each
// pass every bucket that all inputs have passed is printed.
//
// In tail mode with a lag limit, or when a service manager's watchdog must be answered, the
// readers do not wait inside the file reader: a pass reads one record from every input that has
// one, and only when none had does the run wait, for any input to change and at most half a
// second (or half the watchdog interval). With a lag limit an input without a record is skipped;
// without one the pass waits for it as the plain merge would, so the lines are the same.
#ifndef VEXIL_VEXIL_RUN_H
#define VEXIL_VEXIL_RUN_H

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

#include "arguments.h"
#include "bucket.h"
#include "cpu_count.h"
#include "open_file_limit.h"
#include "output_check.h"
#include "output_file.h"
#include "perflib"
#include "record_writer.h"
#include "rotated_history.h"
#include "service_notify.h"
#include "stop_signals.h"
#include "vexil_file.h"

namespace vexil {

template <class Map>
class VexilRun {
 public:
  using Files = std::vector<std::unique_ptr<VexilFile>>;
  using Factory = std::unique_ptr<VexilFile> (*)(const std::string&, bool, Map&);

  explicit VexilRun(const Arguments& args)
      : args(args), bucket_map(make_bucket, args.bucket_size, last_printed) {
    if (!args.columns.empty() || args.format != OutputFormat::kCsv
        || args.time_format != TimeFormat::kEpoch) {
      writer.emplace(args.format, args.time_format, args.columns);
      bucket_map.writer = &*writer;
    }
  }
  virtual ~VexilRun() = default;

  // Opens the output file, if one is given, then every input in command-line order; the first
  // that cannot be opened stops the run.
  void open_files() {
    if (args.output) {
      open_output_file(*args.output);
    }
    raise_open_file_limit();
    for (const std::string& path : args.paths) {
      files.push_back(file_factory(path, args.tail, bucket_map));
    }
    for (const std::string& path : args.supplemental_paths) {
      supplemental_files.push_back(file_factory(path, args.tail, bucket_map));
    }
    if (args.strict) {
      for (std::size_t i = 0; i < files.size(); ++i) {
        files[i]->check_strictly(args.paths[i]);
      }
      for (std::size_t i = 0; i < supplemental_files.size(); ++i) {
        supplemental_files[i]->check_strictly(args.supplemental_paths[i]);
      }
    }
    if (args.rotated) {
      for (std::size_t i = 0; i < files.size(); ++i) {
        files[i]->read_history_first(rotated_predecessors(args.paths[i]));
      }
      for (std::size_t i = 0; i < supplemental_files.size(); ++i) {
        supplemental_files[i]->read_history_first(rotated_predecessors(args.supplemental_paths[i]));
      }
    }
    if (args.window.bounded()) {
      for (Files* inputs : {&files, &supplemental_files}) {
        for (const std::unique_ptr<VexilFile>& file : *inputs) {
          file->window = &args.window;
          file->read_window(args.window.since, args.window.until);
        }
      }
    }
    if (!args.tail && !args.strict && !args.rotated && !args.window.bounded()) {
      read_ahead();
    }
  }

  void merge_files() {
    if (args.tail) {
      std::setvbuf(stdout, nullptr, _IOLBF, 0);  // each merged line reaches a pipe at once
    }
    stop_signals::set_line_buffered(args.tail);
    notify.ready();
    if (args.tail && (args.max_lag || notify.watchdog())) {
      follow_files();
      return;
    }
    while (!files.empty() || !supplemental_files.empty()) {
      read_one_each(files);
      read_one_each(supplemental_files);
      bucket_map.flush_ready(files, supplemental_files, args.tail);
      check_output(stdout, false);  // a failed write ends the run, not only at its end
      stop_signals::stop_if_asked();
      notify.status(files.size() + supplemental_files.size(), bucket_map.printed_until, 0);
    }
  }

 private:
  void follow_files() {
    while (!files.empty() || !supplemental_files.empty()) {
      bool read = read_ready(files, true);
      read = read_ready(supplemental_files, false) || read;
      bucket_map.flush_ready(files, supplemental_files, true);
      if (args.max_lag) {
        bucket_map.flush_lagging(files, newest, *args.max_lag);
      }
      check_output(stdout, false);
      stop_signals::stop_if_asked();
      notify.status(files.size() + supplemental_files.size(), bucket_map.printed_until,
                    static_cast<std::size_t>(std::count_if(
                        files.begin(), files.end(), [](const auto& f) { return f->lagging; })));
      notify.alive();
      if (!read) {
        wait_any();
      }
    }
  }

  // One record from each input that has one (with a lag limit) or from each input (without);
  // whether any was read. main: the inputs whose rows move the newest time.
  bool read_ready(Files& inputs, bool main) {
    bool read = false;
    for (std::size_t i = 0; i < inputs.size();) {
      const VexilFile::Step step = inputs[i]->bucket_next_ready(args.max_lag.has_value());
      if (step == VexilFile::kEnded) {
        inputs.erase(inputs.begin() + static_cast<std::ptrdiff_t>(i));
        continue;
      }
      if (step == VexilFile::kWaiting && !args.max_lag) {
        wait_any();
        continue;  // the same input again
      }
      if (step == VexilFile::kRead) {
        read = true;
        newest = main ? std::max(newest, inputs[i]->get_prev_time()) : newest;
      }
      ++i;
    }
    return read;
  }

  void wait_any() {
    std::vector<perflib::LogFile*> all;
    for (Files* inputs : {&files, &supplemental_files}) {
      for (const auto& f : *inputs) {
        all.push_back(f.get());
      }
    }
    perflib::LogFile::wait_any(all, notify.wait_ms());
    stop_signals::stop_if_asked();
    notify.alive();
  }

  // With a second processor, the inputs are read and their cells converted on other threads
  // (one fewer than the processors, four at most) while this one merges. Each input then holds
  // at most four batches of rows: about 1,000 rows over all inputs in a batch each, 16 to 64.
  void read_ahead() {
    const unsigned helpers = read_ahead_helpers();
    const std::size_t inputs = files.size() + supplemental_files.size();
    if (helpers == 0 || inputs == 0) {
      return;
    }
    try {
      parse_ahead = std::make_unique<perflib::ParseAhead>(helpers);
    } catch (const std::system_error&) {
      return;  // no thread to spare: the inputs are read in turn
    }
    const auto rows = static_cast<unsigned>(std::clamp<std::size_t>(1024 / inputs, 16, 64));
    for (Files* each : {&files, &supplemental_files}) {
      for (const std::unique_ptr<VexilFile>& file : *each) {
        file->read_ahead(*parse_ahead, rows);
      }
    }
  }

  // Ended inputs are dropped; the next one moves into the same slot.
  static void read_one_each(Files& inputs) {
    for (std::size_t i = 0; i < inputs.size();) {
      if (inputs[i]->bucket_next()) {
        ++i;
      } else {
        inputs.erase(inputs.begin() + static_cast<std::ptrdiff_t>(i));
      }
    }
  }

  const Arguments& args;
  // Declared before the map: buckets printed while the map is torn down still read them.
  perflib::RecordPtr last_printed;
  std::optional<RecordWriter> writer;  // none: the plain CSV of every column
  Map bucket_map;
  std::unique_ptr<perflib::ParseAhead> parse_ahead;  // outlives the inputs it reads
  Files files;
  Files supplemental_files;
  Factory file_factory = make_file;
  ServiceNotify notify;
  std::int64_t newest = INT64_MIN;  // the latest time of a row read from an input
};

}  // namespace vexil

#endif
