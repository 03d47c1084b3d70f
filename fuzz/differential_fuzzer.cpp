// SPDX-License-Identifier: Apache-2.0
// The differential harness driven by the fuzzer: its bytes make the random choices of a scenario
// (see tests/differential.h), which the real vexil then merges in every way it can; a relation
// that does not hold aborts with what differed, its directory kept.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "differential.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  differential::Choices choose(data, size);
  const differential::Scenario s = differential::generate(choose);
  std::string dir = (std::filesystem::temp_directory_path() / "vexil-diff-XXXXXX").string();
  if (mkdtemp(dir.data()) == nullptr) {
    return 0;
  }
  const auto failed = differential::check(s, choose, VEXIL_BINARY, dir, false);
  for (const std::string& failure : failed) {
    std::fprintf(stderr, "%s\n", failure.c_str());
  }
  if (!failed.empty()) {
    std::abort();
  }
  std::filesystem::remove_all(dir);
  return 0;
}
