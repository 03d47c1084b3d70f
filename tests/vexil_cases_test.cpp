// SPDX-License-Identifier: Apache-2.0
// End-to-end runs of vexil and vexil-plot, one test per directory under tests/cases. A case holds
// its input files, "cmd" (a bash script run in a scratch copy of the case, with both programs on
// PATH, TZ=UTC, -e and pipefail), and the expected "stdout", "stderr" (absent: empty) and "status"
// (absent: 0). EXAMPLES names the examples directory.
#include <algorithm>

#include "test_support.h"

namespace {

namespace fs = std::filesystem;

std::vector<std::string> case_names() {
  std::vector<std::string> names;
  for (const fs::directory_entry& e : fs::directory_iterator(VEXIL_CASES)) {
    names.push_back(e.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class VexilCase : public ::testing::TestWithParam<std::string> {};

TEST_P(VexilCase, PrintsWhatIsExpected) {
  const fs::path source = fs::path(VEXIL_CASES) / GetParam();
  test_support::TempDir dir;
  fs::copy(source, dir.path(), fs::copy_options::recursive);
  const std::string path = fs::path(VEXIL_BINARY).parent_path().string() + ":"
                           + fs::path(VEXIL_PLOT_BINARY).parent_path().string() + ":"
                           + getenv("PATH");
  const test_support::RunResult r = test_support::run(
      "/bin/bash",
      {"-e", "-o", "pipefail", "-c",
       "PATH=" + path + "\nEXAMPLES=" EXAMPLES_DIR "\n" + test_support::slurp(source / "cmd")},
      dir.path());
  EXPECT_EQ(r.out, test_support::slurp(source / "stdout"));
  EXPECT_EQ(r.err, test_support::slurp(source / "stderr"));
  const std::string status = test_support::slurp(source / "status");
  EXPECT_EQ(r.status, status.empty() ? 0 : std::stoi(status));
}

INSTANTIATE_TEST_SUITE_P(Cases, VexilCase, ::testing::ValuesIn(case_names()),
                         [](const auto& info) { return info.param; });

}  // namespace
