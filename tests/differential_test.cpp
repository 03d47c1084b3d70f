// SPDX-License-Identifier: Apache-2.0
// The differential harness over random scenarios (see differential.h), in shards that ctest runs
// side by side. VEXIL_DIFFERENTIAL_SCENARIOS (default 2000) sets how many, in all;
// VEXIL_DIFFERENTIAL_SEED (default 1) the first seed. A failing scenario names its seed and keeps
// its directory, with the commands of each relation in "commands".
#include "differential.h"

#include "test_support.h"

namespace {

constexpr int kShards = 8;

std::uint64_t setting(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? std::stoull(text) : otherwise;
}

class Differential : public ::testing::TestWithParam<int> {};

TEST_P(Differential, EveryPathPrintsWhatThePlainMergePrints) {
  const std::uint64_t scenarios = setting("VEXIL_DIFFERENTIAL_SCENARIOS", 2000);
  const std::uint64_t first = setting("VEXIL_DIFFERENTIAL_SEED", 1);
  for (std::uint64_t i = static_cast<std::uint64_t>(GetParam()); i < scenarios; i += kShards) {
    const std::uint64_t seed = first + i;
    differential::Choices choose(seed);
    const differential::Scenario s = differential::generate(choose);
    test_support::TempDir dir;
    // -t is the slowest relation: it waits for the merged lines after each step.
    const bool tail = seed % 4 == 0;
    for (const std::string& failure :
         differential::check(s, choose, VEXIL_BINARY, dir.path(), tail)) {
      ADD_FAILURE() << "seed " << seed << ": " << failure;
    }
    if (HasFailure()) {
      return;  // one scenario's directory kept is enough
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Shards, Differential, ::testing::Range(0, kShards));

}  // namespace
