// SPDX-License-Identifier: Apache-2.0
// A whole merge in process: the input becomes one to three small files in a private temporary
// directory, which vexil's own entry point (the one the program's main calls) then merges, its
// output going to /dev/null.
//
// Input: the first byte picks the bucket size (bits 0-2, from SIZES) and whether the last of
// several files is given as a supplemental-drop file (bit 3); the rest is split into files at
// the line "====" (at most two splits, so a third file may hold more such lines).
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "arguments.h"
#include "bucket_map.h"
#include "fuzz_support.h"
#include "vexil_main.h"
#include "vexil_run.h"

namespace {

constexpr const char* SIZES[] = {"300", "1", "7", "60", "3600", "2147483647"};
constexpr std::string_view SEPARATOR = "\n====\n";
constexpr int MAX_FILES = 3;

std::string directory;

std::string file_path(int i) {
  return directory + "/" + static_cast<char>('a' + i) + ".csv";
}

void remove_directory() {
  for (int i = 0; i < MAX_FILES; ++i) {
    unlink(file_path(i).c_str());
  }
  rmdir(directory.c_str());
}

// A new file each time: rewriting one in place makes some file systems flush it at every close.
void write_file(const std::string& path, std::string_view content) {
  unlink(path.c_str());
  FILE* f = std::fopen(path.c_str(), "wb");
  FUZZ_CHECK(f != nullptr);
  FUZZ_CHECK(std::fwrite(content.data(), 1, content.size(), f) == content.size());
  FUZZ_CHECK(std::fclose(f) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  FUZZ_CHECK(std::freopen("/dev/null", "w", stdout) != nullptr);
  const char* tmp = std::getenv("TMPDIR");
  std::string pattern =
      std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/vexil-merge-fuzz-XXXXXX";
  FUZZ_CHECK(mkdtemp(pattern.data()) != nullptr);
  directory = pattern;
  std::atexit(remove_directory);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::uint8_t options = data[0];
  std::string_view rest = fuzz::as_text(data + 1, size - 1);
  std::vector<std::string_view> files;
  for (std::size_t at; files.size() + 1 < MAX_FILES && (at = rest.find(SEPARATOR)) != rest.npos;) {
    files.push_back(rest.substr(0, at + 1));
    rest.remove_prefix(at + SEPARATOR.size());
  }
  files.push_back(rest);

  std::vector<std::string> args = {"vexil", "-T", SIZES[(options & 7) % std::size(SIZES)]};
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string path = file_path(static_cast<int>(i));
    write_file(path, files[i]);
    const bool supplemental = i > 0 && i + 1 == files.size() && (options & 8) != 0;
    args.push_back(supplemental ? "-s" : "-f");
    args.push_back(path);
  }
  std::vector<char*> argv;
  for (std::string& a : args) {
    argv.push_back(a.data());
  }
  argv.push_back(nullptr);

  try {
    const int status = vexil::vexil_main<vexil::Arguments, vexil::VexilRun<vexil::BucketMap>>(
        static_cast<int>(argv.size() - 1), argv.data());
    // Every file exists and nothing is followed: no user error, only a damaged compressed file.
    FUZZ_CHECK(status == 0 || std::any_of(files.begin(), files.end(), fuzz::is_compressed));
  } catch (const std::logic_error& e) {
    if (!fuzz::is_instance_number_error(e)) {
      throw;
    }
  }
  std::fflush(stdout);
  return 0;
}
