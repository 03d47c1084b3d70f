// SPDX-License-Identifier: Apache-2.0
// Shared test helpers: a per-test temporary directory, what is printed on a FILE*, and (from
// process.h) running programs.
#ifndef TESTS_TEST_SUPPORT_H
#define TESTS_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "process.h"

namespace test_support {

// A fresh directory under the system temp directory; removed when the test passed, kept (and its
// path printed) when it failed.
class TempDir {
 public:
  TempDir() : path_((std::filesystem::temp_directory_path() / "vexil-test-XXXXXX").string()) {
    EXPECT_NE(mkdtemp(path_.data()), nullptr);
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
    const std::filesystem::path p = std::filesystem::path(path_) / relative;
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

}  // namespace test_support

#endif
