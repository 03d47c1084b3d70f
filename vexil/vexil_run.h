// SPDX-License-Identifier: Apache-2.0
// The merge: one reader per input, one record from every live input per pass, and after each
// pass every bucket that all inputs have passed is printed.
#ifndef VEXIL_VEXIL_RUN_H
#define VEXIL_VEXIL_RUN_H

#include <cstdio>
#include <memory>
#include <vector>

#include "arguments.h"
#include "bucket.h"
#include "open_file_limit.h"
#include "output_check.h"
#include "output_file.h"
#include "perflib"
#include "stop_signals.h"
#include "vexil_file.h"

namespace vexil {

template <class Map>
class VexilRun {
 public:
  using Files = std::vector<std::unique_ptr<VexilFile>>;
  using Factory = std::unique_ptr<VexilFile> (*)(const std::string&, bool, Map&);

  explicit VexilRun(const Arguments& args)
      : args(args), bucket_map(make_bucket, args.bucket_size, last_printed) {}
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
  }

  void merge_files() {
    if (args.tail) {
      std::setvbuf(stdout, nullptr, _IOLBF, 0);  // each merged line reaches a pipe at once
    }
    stop_signals::set_line_buffered(args.tail);
    while (!files.empty() || !supplemental_files.empty()) {
      read_one_each(files);
      read_one_each(supplemental_files);
      bucket_map.flush_ready(files, supplemental_files, args.tail);
      check_output(stdout, false);  // a failed write ends the run, not only at its end
      stop_signals::stop_if_asked();
    }
  }

 private:
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
  // Declared before the map: buckets printed while the map is torn down still read it.
  perflib::RecordPtr last_printed;
  Map bucket_map;
  Files files;
  Files supplemental_files;
  Factory file_factory = make_file;
};

}  // namespace vexil

#endif
