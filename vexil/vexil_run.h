// SPDX-License-Identifier: Apache-2.0
// The merge: one reader per input, one record from every live input per pass, and after each
// pass every bucket that all inputs have passed is printed.
//
// In tail mode the readers do not wait inside the file reader: each input is read as far as it
// has complete lines, in sweeps that take every input past the end of the bucket that the earliest
// of those still reading is in (so that inputs read from their start move on together in time,
// and no header is read much before a pass-by-pass merge would read it), and a bucket is
// printed as soon as every input has passed it. Only when no input had a line does the run wait,
// for any input to change and at most half a second (or half the watchdog interval). A bucket's
// stretches are combined in the order the pass-by-pass merge would hand them in (see Bucket), so
// its line is the one the merge of the same files prints.
#ifndef VEXIL_VEXIL_RUN_H
#define VEXIL_VEXIL_RUN_H

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "arguments.h"
#include "bucket.h"
#include "cache_directory.h"
#include "cpu_count.h"
#include "metrics_exposition.h"
#include "metrics_server.h"
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
    if (args.metrics_listen) {
      metrics.emplace(MetricsExposition::engine_labels(args.paths, args.log_dir_of_path,
                                                       args.supplemental_paths),
                      args.bucket_size);
      bucket_map.metrics = &*metrics;
      metrics_server = std::make_unique<MetricsServer>(*args.metrics_listen);
      std::fprintf(stderr, "vexil: metrics at %s\n", metrics_server->url().c_str());
    }
  }
  virtual ~VexilRun() {
    // After an error: the stretches still pending go in as the inputs are let go.
    for (Files* inputs : {&files, &supplemental_files}) {
      for (const std::unique_ptr<VexilFile>& file : *inputs) {
        file->torn_down = true;
      }
    }
  }

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
    for (std::size_t i = 0; i < files.size() + supplemental_files.size(); ++i) {
      (i < files.size() ? files[i] : supplemental_files[i - files.size()])->input = i;
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
      // A window of a file followed is not looked for (its rows are passed over as they come).
      const std::string cache = args.tail ? std::string() : cache_directory();
      for (Files* inputs : {&files, &supplemental_files}) {
        for (const std::unique_ptr<VexilFile>& file : *inputs) {
          file->window = &args.window;
          file->window_index = cache;
          file->keep_window_index(cache);
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
    try {
      merge();
    } catch (const std::runtime_error&) {
      if (args.strict) {
        drop_unfinished();
      }
      throw;
    }
  }

 private:
  void merge() {
    if (args.tail) {
      follow_files();
    } else {
      while (!files.empty() || !supplemental_files.empty()) {
        read_one_each(files);
        read_one_each(supplemental_files);
        bucket_map.flush_ready(files, supplemental_files, args.tail);
        check_output(stdout, false);  // a failed write ends the run, not only at its end
        stop_signals::stop_if_asked();
        notify.status(files.size() + supplemental_files.size(), bucket_map.printed_until, 0);
      }
    }
    if (writer) {  // every bucket is printed: a pattern that chose nothing is an error
      writer->check_patterns();
    }
  }

  // --strict: after an offence, only the buckets that every input had passed are printed.
  void drop_unfinished() {
    bucket_map.flush_ready(files, supplemental_files, args.tail);
    for (Files* inputs : {&files, &supplemental_files}) {
      for (const std::unique_ptr<VexilFile>& file : *inputs) {
        if (file->current) {
          file->current->records.clear();  // also when the map let it go already
        }
        file->current.reset();
        file->pending.reset();
      }
    }
    for (auto& [start, bucket] : bucket_map.buckets) {
      bucket->records.clear();
    }
  }

  void follow_files() {
    publish_metrics();
    while (!files.empty() || !supplemental_files.empty()) {
      const std::int64_t horizon = sweep_horizon();
      bool read = read_ready(files, horizon);
      read = read_ready(supplemental_files, horizon) || read;
      bucket_map.flush_ready(files, supplemental_files, true);
      if (args.max_lag) {
        bucket_map.flush_lagging(files, watermark(), *args.max_lag);
      }
      check_output(stdout, false);
      stop_signals::stop_if_asked();
      notify.status(files.size() + supplemental_files.size(), bucket_map.printed_until,
                    static_cast<std::size_t>(std::count_if(
                        files.begin(), files.end(), [](const auto& f) { return f->lagging; })));
      notify.alive();
      // Rendered once caught up, or once a second while a backlog is read: a history of many
      // buckets costs no rendering per bucket.
      if (metrics && metrics->buckets_added() != published_buckets
          && (!read || std::chrono::steady_clock::now() - published_at > std::chrono::seconds(1))) {
        publish_metrics();
      }
      if (!read) {
        wait_any();
      }
    }
  }

  // --metrics-listen: the figures as they are once a bucket is printed, rendered here so that a
  // scrape only sends what it finds.
  void publish_metrics() {
    if (!metrics) {
      return;
    }
    MetricsExposition::Figures figures{files.size() + supplemental_files.size(), 0, ended_rows_read,
                                       ended_late_rows};
    for (const Files* inputs : {&files, &supplemental_files}) {
      for (const std::unique_ptr<VexilFile>& f : *inputs) {
        figures.inputs_lagging += f->lagging ? 1 : 0;
        figures.rows_read += f->rows_read;
        figures.late_rows_dropped += f->late_rows_dropped;
      }
    }
    metrics->set_figures(figures);
    metrics_server->publish(std::make_shared<const MetricsServer::Snapshot>(
        MetricsServer::Snapshot{metrics->render(false), metrics->render(true)}));
    published_buckets = metrics->buckets_added();
    published_at = std::chrono::steady_clock::now();
  }

  // The end of the bucket that holds the earliest time of the inputs not waiting for their files:
  // in a sweep no input reads further past it than into the next bucket, as a pass-by-pass
  // merge would not (a header line read makes its layout known to the built-in tables).
  std::int64_t sweep_horizon() const {
    // Those that waited last time count only when all did (one of them has more now).
    std::int64_t earliest = INT64_MAX, earliest_waiting = INT64_MAX;
    for (const Files* inputs : {&files, &supplemental_files}) {
      for (const std::unique_ptr<VexilFile>& f : *inputs) {
        std::int64_t& e = f->would_block() ? earliest_waiting : earliest;
        e = std::min(e, f->get_prev_time());
      }
    }
    earliest = earliest == INT64_MAX ? earliest_waiting : earliest;
    const std::int64_t start = bucket_start(earliest, args.bucket_size);
    return start > INT64_MAX - args.bucket_size ? INT64_MAX : start + args.bucket_size;
  }

  // Reads each input as far as it has complete lines, and no further than horizon once it has
  // read a record; whether any record was read. With a lag limit, rows for buckets already
  // printed are dropped.
  bool read_ready(Files& inputs, std::int64_t horizon) {
    bool read = false;
    for (std::size_t i = 0; i < inputs.size();) {
      VexilFile::Step step;
      do {
        step = inputs[i]->bucket_next_ready(args.max_lag.has_value());
        read = read || step == VexilFile::kRead;
      } while (step == VexilFile::kRead && inputs[i]->get_prev_time() < horizon);
      if (step == VexilFile::kEnded) {
        ended_rows_read += inputs[i]->rows_read;
        ended_late_rows += inputs[i]->late_rows_dropped;
        inputs.erase(inputs.begin() + static_cast<std::ptrdiff_t>(i));
        continue;
      }
      ++i;
    }
    return read;
  }

  // The newest time the inputs have surely reached, for the lag limit: the latest row of an
  // input counts once another input has reached its time too, or once the input's next row
  // confirms it; so one stray row from the future does not leave the other inputs behind.
  std::int64_t watermark() const {
    std::int64_t first = INT64_MIN, second = INT64_MIN, settled = INT64_MIN;
    for (const std::unique_ptr<VexilFile>& f : files) {
      const std::int64_t t = f->get_prev_time();
      second = std::max(second, std::min(first, t));
      first = std::max(first, t);
      settled = std::max(settled, f->settled_time);
    }
    return std::max(second, settled);
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
  // --metrics-listen; before the map, whose buckets tell the exposition as they are printed.
  std::optional<MetricsExposition> metrics;
  std::unique_ptr<MetricsServer> metrics_server;
  std::uint64_t published_buckets = 0;
  std::chrono::steady_clock::time_point published_at;
  std::uint64_t ended_rows_read = 0;  // of the inputs that ended
  std::uint64_t ended_late_rows = 0;
  Map bucket_map;
  std::unique_ptr<perflib::ParseAhead> parse_ahead;  // outlives the inputs it reads
  Files files;
  Files supplemental_files;
  Factory file_factory = make_file;
  ServiceNotify notify;
};

}  // namespace vexil

#endif
