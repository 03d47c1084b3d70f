// SPDX-License-Identifier: Apache-2.0
// Running programs in tests and in the differential harness (which the fuzzers build too, so
// nothing here needs GoogleTest): with their output and status captured, or left running with
// their output piped.
#ifndef TESTS_PROCESS_H
#define TESTS_PROCESS_H

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace test_support {

inline std::string slurp(const std::string& path) {
  std::ostringstream s;
  s << std::ifstream(path, std::ios::binary).rdbuf();
  return s.str();
}

// Replaces the calling (child) process by program with args, with TZ=UTC, LC_ALL=C and vexil's
// cache in .cache of the directory it runs in (never the user's).
[[noreturn]] inline void exec(const std::string& program, std::vector<std::string> args) {
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (std::string& a : args) {
    argv.push_back(a.data());
  }
  argv.push_back(nullptr);
  setenv("TZ", "UTC", 1);
  setenv("LC_ALL", "C", 1);
  char here[4096];
  if (getcwd(here, sizeof here - 8) == nullptr) {
    _exit(127);
  }
  setenv("XDG_CACHE_HOME", std::strcat(here, "/.cache"), 1);
  execv(program.c_str(), argv.data());
  _exit(127);
}

// waitpid, again when a signal interrupts it (the fuzzer's timer does, every second).
inline void wait_for(pid_t pid, int* status) {
  while (waitpid(pid, status, 0) < 0 && errno == EINTR) {
  }
}

struct RunResult {
  std::string out, err;
  int status = -1;  // exit status, or 128 + signal
};

// Runs program with args (no shell) in dir; stdout and stderr are captured through the files
// dir/.stdout and dir/.stderr. in_child runs in the child just before the program starts; when it
// returns false the child ends with status 126.
inline RunResult run(const std::string& program, std::vector<std::string> args,
                     const std::string& dir, const std::function<bool()>& in_child = {}) {
  const std::string out = dir + "/.stdout", err = dir + "/.stderr";
  const pid_t pid = fork();
  if (pid == 0) {
    if (chdir(dir.c_str()) != 0 || !std::freopen(out.c_str(), "w", stdout)
        || !std::freopen(err.c_str(), "w", stderr)) {
      _exit(127);
    }
    if (in_child && !in_child()) {
      _exit(126);
    }
    exec(program, std::move(args));
  }
  int status = 0;
  wait_for(pid, &status);
  return {slurp(out), slurp(err), WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

// A program left running, its standard output read through a pipe without blocking. It
// is killed when the object goes, so no test can leave it running.
class Spawned {
 public:
  // In dir, if given, with standard error into dir/.stderr.
  Spawned(const std::string& program, std::vector<std::string> args, const std::string& dir = "") {
    int fds[2];
    if (pipe(fds) != 0) {
      throw std::runtime_error("pipe failed");
    }
    pid_ = fork();
    if (pid_ == 0) {
      dup2(fds[1], 1);
      if (!dir.empty() && (chdir(dir.c_str()) != 0 || !std::freopen(".stderr", "w", stderr))) {
        _exit(127);
      }
      exec(program, std::move(args));
    }
    close(fds[1]);
    out_ = fds[0];
    fcntl(out_, F_SETFL, O_NONBLOCK);
  }
  ~Spawned() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      wait_for(pid_, nullptr);
    }
    close(out_);
  }

  // Sends sig, reads the output to its end and returns the exit status (128 + signal if killed).
  int stop(int sig) {
    kill(pid_, sig);
    read(SIZE_MAX, std::chrono::minutes(1));
    int status = 0;
    wait_for(pid_, &status);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  // Everything printed so far, waiting up to limit for it to reach size bytes or its end.
  std::string read(std::size_t size, std::chrono::milliseconds limit) {
    const auto until = std::chrono::steady_clock::now() + limit;
    while (got_.size() < size && std::chrono::steady_clock::now() < until) {
      char buffer[4096];
      const ssize_t n = ::read(out_, buffer, sizeof buffer);
      if (n > 0) {
        got_.append(buffer, static_cast<std::size_t>(n));
      } else if (n == 0) {
        break;  // the program has ended
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
    }
    return got_;
  }

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  std::string got_;
};

inline void append(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::app) << text;
}

}  // namespace test_support

#endif
