// SPDX-License-Identifier: Apache-2.0
// A picture file that appears whole or not at all: gnuplot writes a temporary file beside the
// target, which is renamed over the target only once gnuplot has succeeded. The temporary file
// is removed when the picture is abandoned, also when an interrupt or termination signal ends
// the program; the writer named by writing_process is then stopped first, so that it cannot
// create the file again.
#ifndef VEXIL_PLOT_OUTPUT_FILE_H
#define VEXIL_PLOT_OUTPUT_FILE_H

#include <sys/types.h>

#include <string>

namespace vexil {

class OutputFile {
 public:
  // Creates the temporary file. Throws std::runtime_error when it cannot be created.
  explicit OutputFile(std::string target);
  ~OutputFile();  // removes the temporary file unless committed
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  const std::string& temporary_path() const { return temporary; }
  // The process that writes the temporary file, while it runs (0: none).
  void writing_process(pid_t pid);
  // Moves the finished picture to the target. Throws std::runtime_error when it cannot.
  void commit();

 private:
  std::string target;
  std::string temporary;
  bool committed = false;
};

}  // namespace vexil

#endif
