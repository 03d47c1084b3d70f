// A whole merge in process: the input becomes one to three small files in a private temporary
// directory, which vexil's own entry point (the one the program's main calls) then merges, its
// output going to /dev/null.
//
// Input: the first byte picks the bucket size (bits 0-2, from SIZES) and whether the last of
// several files is given as a supplemental-drop file (bit 3); the rest is split into files at
// the line "====" (at most two splits, so a third file may hold more such lines).
#include <unistd.h>

#include <string>

#include "arguments.h"
#include "bucket_map.h"
#include "fuzz_support.h"
#include "vexil_main.h"
#include "vexil_run.h"

namespace {

constexpr const char* SIZES[] = {"300", "1", "7", "60", "3600", "2147483647"};
constexpr std::string_view SEPARATOR = "\n====\n";
constexpr std::size_t MAX_FILES = 3;
std::string directory;

std::string file_path(std::size_t i) {
  return directory + "/" + static_cast<char>('a' + i) + ".csv";
}

void remove_directory() {
  for (std::size_t i = 0; i < MAX_FILES; ++i) {
    unlink(file_path(i).c_str());
  }
  rmdir(directory.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  FUZZ_CHECK(std::freopen("/dev/null", "w", stdout) != nullptr);
  const char* tmp = std::getenv("TMPDIR");
  directory = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/vexil-merge-XXXXXX";
  FUZZ_CHECK(mkdtemp(directory.data()) != nullptr);
  std::atexit(remove_directory);
  return 0;
}

FUZZ_TARGET(rest) {
  if (rest.empty()) {
    return;
  }
  const auto options = static_cast<unsigned char>(rest[0]);
  rest.remove_prefix(1);
  std::vector<std::string_view> files;
  for (std::size_t at; files.size() + 1 < MAX_FILES && (at = rest.find(SEPARATOR)) != rest.npos;) {
    files.push_back(rest.substr(0, at + 1));
    rest.remove_prefix(at + SEPARATOR.size());
  }
  files.push_back(rest);
  std::vector<std::string> args = {"vexil", "-T", SIZES[(options & 7) % std::size(SIZES)]};
  for (std::size_t i = 0; i < files.size(); ++i) {
    // A new file each time: rewriting one in place makes some file systems flush it at every close.
    const std::string path = file_path(i);
    unlink(path.c_str());
    FILE* f = std::fopen(path.c_str(), "wb");
    FUZZ_CHECK(f != nullptr
               && std::fwrite(files[i].data(), 1, files[i].size(), f) == files[i].size());
    FUZZ_CHECK(std::fclose(f) == 0);
    const bool supplemental = i > 0 && i + 1 == files.size() && (options & 8) != 0;
    args.insert(args.end(), {supplemental ? "-s" : "-f", path});
  }
  std::vector<char*> argv;
  for (std::string& a : args) {
    argv.push_back(a.data());
  }
  argv.push_back(nullptr);
  const int status = vexil::vexil_main<vexil::Arguments, vexil::VexilRun<vexil::BucketMap>>(
      static_cast<int>(argv.size() - 1), argv.data());
  FUZZ_CHECK(status == 0);  // every file exists and nothing is followed: no user error
  std::fflush(stdout);
}
