// SPDX-License-Identifier: Apache-2.0
// The command line of vexil: input paths, supplemental-drop paths, bucket size, tail mode and the
// output file.
#ifndef VEXIL_ARGUMENTS_H
#define VEXIL_ARGUMENTS_H

#include <optional>
#include <string>
#include <vector>

namespace vexil {

class Arguments {
 public:
  virtual ~Arguments() = default;

  // Reads the options with getopt_long (short ones "hd:f:l:s:tT:", long ones --help and
  // --output) and builds the paths. Throws std::runtime_error for a user error; a -T value that
  // is not a number escapes as std::stoi's own exception, by design.
  virtual void parse(int argc, char** argv);
  virtual void show_help();

  std::vector<std::string> paths;               // base + log dir + file name, log-dir major
  std::vector<std::string> supplemental_paths;  // -s, exactly as typed
  std::optional<std::string> output;            // --output; none: standard output as it is
  bool tail = false;
  bool help = false;
  int bucket_size = 300;  // seconds
};

}  // namespace vexil

#endif
