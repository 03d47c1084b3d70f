// SPDX-License-Identifier: Apache-2.0
// The command line of vexil: input paths, supplemental-drop paths, bucket size, tail mode, the
// output file and the lag allowed in tail mode.
#ifndef VEXIL_ARGUMENTS_H
#define VEXIL_ARGUMENTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "record_writer.h"
#include "time_window.h"

namespace vexil {

class Arguments {
 public:
  virtual ~Arguments() = default;

  // Reads the options with getopt_long (short ones "hd:f:l:s:tT:", long ones --help,
  // --output, --since, --until, --rotated, --version,
  // --max-lag, --columns, --time-format, --format, --metrics-listen) and builds the paths: the
  // -d/-l/-f ones, then the arguments that are not options. Throws std::runtime_error for a user
  // error; a -T value that is not a number escapes as std::stoi's own exception, by design.
  virtual void parse(int argc, char** argv);
  virtual void show_help();

  std::vector<std::string> paths;  // base + log dir + file name, log-dir major
  // The -l directory each of the first paths was built with (empty without -l); the arguments
  // that are not options have none.
  std::vector<std::string> log_dir_of_path;
  std::vector<std::string> supplemental_paths;  // -s, exactly as typed
  std::optional<std::string> output;            // --output; none: standard output as it is
  TimeWindow window;                            // --since, --until
  std::optional<std::int64_t> max_lag;          // --max-lag, seconds of data time (needs -t)
  std::optional<std::string> metrics_listen;    // --metrics-listen [address:]port (needs -t)
  std::vector<std::string> columns;             // --columns patterns; none: every column
  OutputFormat format = OutputFormat::kCsv;     // --format
  TimeFormat time_format = TimeFormat::kEpoch;  // --time-format
  bool tail = false;
  bool rotated = false;  // --rotated
  bool strict = false;   // --strict
  bool help = false;
  int bucket_size = 300;  // seconds
};

}  // namespace vexil

#endif
