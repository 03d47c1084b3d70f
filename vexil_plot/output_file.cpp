// SPDX-License-Identifier: Apache-2.0
#include "output_file.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace vexil {

namespace {

// The temporary file a signal handler must remove, and its writer; one picture is written at a
// time.
char* volatile pending_path = nullptr;
volatile pid_t pending_writer = 0;

void remove_and_reraise(int signal_number) {
  if (pid_t writer = pending_writer; writer > 0) {
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
  }
  if (char* path = pending_path) {
    unlink(path);
  }
  ::signal(signal_number, SIG_DFL);
  raise(signal_number);
}

void watch_signals(bool on) {
  for (int s : {SIGINT, SIGTERM, SIGHUP}) {
    ::signal(s, on ? remove_and_reraise : SIG_DFL);
  }
}

std::runtime_error write_error(const std::string& path) {
  return std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
}

}  // namespace

OutputFile::OutputFile(std::string target) : target(std::move(target)) {
  const std::size_t slash = this->target.rfind('/');
  const std::size_t name_at = slash == std::string::npos ? 0 : slash + 1;
  temporary = this->target.substr(0, name_at) + "." + this->target.substr(name_at) + ".XXXXXX";
  const int fd = mkstemp(temporary.data());
  if (fd < 0) {
    throw write_error(this->target);
  }
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);  // as if the target were created directly
  close(fd);
  pending_path = temporary.data();
  watch_signals(true);
}

OutputFile::~OutputFile() {
  watch_signals(false);
  pending_path = nullptr;
  pending_writer = 0;
  if (!committed) {
    unlink(temporary.c_str());
  }
}

void OutputFile::writing_process(pid_t pid) {
  pending_writer = pid;
}

void OutputFile::commit() {
  if (std::rename(temporary.c_str(), target.c_str()) != 0) {
    throw write_error(target);
  }
  committed = true;
}

}  // namespace vexil
