// SPDX-License-Identifier: Apache-2.0
#include "output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace vexil {

void open_output_file(const std::string& path) {
  std::fflush(stdout);  // nothing is written before, but nothing may land in the new file either
  // Appended to, so a restart loses nothing written before, and so the file may be rotated by
  // copying and truncating it under a running vexil.
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
  // When standard output was closed, the file already is descriptor 1.
  if (fd < 0 || (fd != STDOUT_FILENO && dup2(fd, STDOUT_FILENO) < 0)) {
    const int reason = errno;
    if (fd >= 0) {
      close(fd);
    }
    throw std::runtime_error("Unable to open output file: " + path + ": " + std::strerror(reason));
  }
  if (fd != STDOUT_FILENO) {
    close(fd);
  }
}

}  // namespace vexil
