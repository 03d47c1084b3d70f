// SPDX-License-Identifier: Apache-2.0
#include "gnuplot_runner.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace vexil {

namespace {

// A pipe whose ends close themselves.
struct Pipe {
  int fds[2] = {-1, -1};
  Pipe() {
    if (pipe2(fds, O_CLOEXEC) != 0) {
      throw std::runtime_error(std::string("cannot make a pipe: ") + std::strerror(errno));
    }
  }
  ~Pipe() {
    close_end(0);
    close_end(1);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void close_end(int i) {
    if (fds[i] >= 0) {
      close(fds[i]);
      fds[i] = -1;
    }
  }
};

pid_t spawn_gnuplot(Pipe& input, Pipe* output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input.fds[0], STDIN_FILENO);
  if (output != nullptr) {
    posix_spawn_file_actions_adddup2(&actions, output->fds[1], STDOUT_FILENO);
  }
  char name[] = "gnuplot";
  char* argv[] = {name, nullptr};
  pid_t pid = -1;
  const int error = posix_spawnp(&pid, name, &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error == ENOENT) {
    throw std::runtime_error(
        "gnuplot is not installed; install it with: apt-get install gnuplot-nox");
  }
  if (error != 0) {
    throw std::runtime_error(std::string("cannot start gnuplot: ") + std::strerror(error));
  }
  return pid;
}

// Writes all of text; false when the reader went away.
bool write_all(int fd, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  return true;
}

int wait_for(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

// All that can be read from fd until its end.
std::string read_all(int fd) {
  std::string text;
  char buffer[65536];
  for (;;) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      return text;
    }
    text.append(buffer, static_cast<std::size_t>(n));
  }
}

// Runs script; with output, gnuplot writes into it and text receives what it wrote.
void run(const std::string& script, const std::function<void(pid_t)>& started, Pipe* output,
         std::string* text) {
  Pipe input;
  const pid_t pid = spawn_gnuplot(input, output);
  if (output != nullptr) {
    output->close_end(1);
  }
  if (started) {
    started(pid);
  }
  input.close_end(0);
  // A gnuplot that ends early must not kill us with SIGPIPE: its status says what went wrong.
  struct sigaction ignore {
  }, previous{};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, &previous);
  write_all(input.fds[1], script + "\nexit\n");
  input.close_end(1);
  sigaction(SIGPIPE, &previous, nullptr);
  if (output != nullptr) {
    *text = read_all(output->fds[0]);  // the text comes once the script has ended
  }
  const int status = wait_for(pid);
  if (started) {
    started(0);
  }
  if (WIFSIGNALED(status)) {
    throw std::runtime_error("gnuplot was killed by signal " + std::to_string(WTERMSIG(status)));
  }
  if (WEXITSTATUS(status) != 0) {
    throw std::runtime_error("gnuplot failed with status " + std::to_string(WEXITSTATUS(status)));
  }
}

}  // namespace

void run_gnuplot(const std::string& script, const std::function<void(pid_t)>& started) {
  run(script, started, nullptr, nullptr);
}

std::string gnuplot_text(const std::string& script) {
  Pipe output;
  std::string text;
  run(script, {}, &output, &text);
  // The text terminal starts each page with a form feed, which a terminal shows as one more line,
  // and ends its last line without a newline.
  if (text.starts_with('\f')) {
    text.erase(0, 1);
  }
  std::replace(text.begin(), text.end(), '\f', '\n');
  if (!text.empty() && !text.ends_with('\n')) {
    text += '\n';
  }
  return text;
}

}  // namespace vexil
