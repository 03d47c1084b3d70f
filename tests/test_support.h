// Shared helpers for the tests: a per-test temporary directory, capturing what is printed on a
// FILE*, and running a program with its output and status captured.
#ifndef TESTS_TEST_SUPPORT_H
#define TESTS_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace test_support {

// A fresh directory under the system temp directory; removed when the test passed, kept (and its
// path printed) when it failed.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vexil-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      ADD_FAILURE() << "mkdtemp failed";
    }
    path_ = pattern;
  }
  ~TempDir() {
    if (::testing::Test::HasFailure()) {
      std::fprintf(stderr, "kept test files in %s\n", path_.c_str());
    } else {
      std::filesystem::remove_all(path_);
    }
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // Writes a file (creating its directories) and returns its absolute path.
  std::string write(const std::string& relative, const std::string& content) const {
    std::filesystem::path p = std::filesystem::path(path_) / relative;
    std::filesystem::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << content;
    return p.string();
  }

 private:
  std::string path_;
};

// Everything a function writes on the stream it is given.
inline std::string capture(const std::function<void(FILE*)>& print) {
  char* buffer = nullptr;
  std::size_t size = 0;
  FILE* out = open_memstream(&buffer, &size);
  print(out);
  std::fclose(out);
  std::string text(buffer, size);
  std::free(buffer);
  return text;
}

inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

struct RunResult {
  std::string out;
  std::string err;
  int status = -1;  // exit status, or 128 + signal
};

// Runs program with args (no shell) in dir, with TZ=UTC and LC_ALL=C; stdout and stderr are
// captured through the files dir/.stdout and dir/.stderr.
inline RunResult run(const std::string& program, const std::vector<std::string>& args,
                     const std::string& dir) {
  const std::string out_path = dir + "/.stdout", err_path = dir + "/.stderr";
  const pid_t pid = fork();
  if (pid == 0) {
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& a : args) {
      argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    setenv("TZ", "UTC", 1);
    setenv("LC_ALL", "C", 1);
    if (chdir(dir.c_str()) == 0 && std::freopen(out_path.c_str(), "w", stdout) != nullptr
        && std::freopen(err_path.c_str(), "w", stderr) != nullptr) {
      execv(program.c_str(), argv.data());
    }
    _exit(127);
  }
  int wstatus = 0;
  waitpid(pid, &wstatus, 0);
  RunResult r;
  r.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
  r.out = slurp(out_path);
  r.err = slurp(err_path);
  return r;
}

}  // namespace test_support

#endif
