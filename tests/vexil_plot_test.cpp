// SPDX-License-Identifier: Apache-2.0
// vexil-plot end to end: pictures of the example merge and the script of awkward column names.
#include <filesystem>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

using test_support::run;

// The files in dir apart from the run helper's captures (whose names begin with a dot).
std::vector<std::string> files_in(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  std::erase_if(names, [](const std::string& n) { return n == ".stdout" || n == ".stderr"; });
  return names;
}

TEST(VexilPlotTest, DrawsTheExampleMergeAsPngAndSvg) {
  test_support::TempDir dir;
  const std::string logs = EXAMPLES_DIR "/logs";
  auto merged = run(VEXIL_BINARY,
                    {"-d", logs, "-l", "engine1", "-l", "engine2", "-l", "engine3", "-l", "engine4",
                     "-f", "perf_monitor.csv", "-s", logs + "/supplemental/sdrops.csv"},
                    dir.path());
  const std::string csv = dir.write("merged.csv", merged.out), png = dir.path() + "/d.png",
                    svg = dir.path() + "/d.svg";
  ASSERT_EQ(run(VEXIL_PLOT_BINARY, {"-o", png, csv}, dir.path()).status, 0);
  ASSERT_EQ(run(VEXIL_PLOT_BINARY, {"-s", "800x500", "-o", svg, csv}, dir.path()).status, 0);

  const std::string picture = test_support::slurp(png);
  ASSERT_GT(picture.size(), 70000u) << "an empty chart is smaller";
  // The signature, then the IHDR chunk: width 1600, height 1000 (big-endian).
  EXPECT_EQ(picture.substr(0, 24),
            std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\x06\x40\0\0\x03\xe8", 24));
  const std::string drawing = test_support::slurp(svg);
  EXPECT_NE(drawing.find("width=\"800\" height=\"500\""), std::string::npos);
  // The line of every dashboard series, in its own colour.
  for (const char* colour :
       {"( 31, 119, 180)", "(214,  39,  40)", "( 44, 160,  44)", "(148, 103, 189)",
        "(255, 127,  14)", "( 23, 190, 207)", "(140,  86,  75)"}) {
    EXPECT_NE(drawing.find(std::string("stroke='rgb") + colour), std::string::npos) << colour;
  }
  EXPECT_EQ(files_in(dir.path()), (std::vector<std::string>{"d.png", "d.svg", "merged.csv"}));
}

TEST(VexilPlotTest, ScriptKeepsAwkwardNamesAndBreaksLinesAtMissingBuckets) {
  test_support::TempDir dir;
  const std::string csv = dir.write("in.csv",
                                    "#timestamp,stats.usr[0],it's,\"q\",a@b_c\n"
                                    "1700000400,12.5,600,0,3000\n"
                                    "1700000700,13.5,900,0,3000\n"
                                    "1700001300,14.5,1200,0,3000\n");
  const std::string columns = "stats.usr[0],it's,\"q\",a@*";
  auto script =
      run(VEXIL_PLOT_BINARY, {"--script", "-s", "120x30", "-c", columns, csv}, dir.path());
  ASSERT_EQ(script.status, 0) << script.err;
  for (const char* expected :
       {"title 'stats.usr[0] (average %)'\n", "title 'it''s (sum per second)'\n",
        "title '\"q\" (sum per second)'\n", "title 'a@b_c (sum per second)'\n",
        "$p1s0 << EOD\n1700000400 2\n1700000700 3\n\n1700001300 4\nEOD\n",
        "$p0s0 << EOD\n1700000400 12.5\n1700000700 13.5\n\n1700001300 14.5\nEOD\n"}) {
    EXPECT_NE(script.out.find(expected), std::string::npos) << expected;
  }
  // gnuplot reads it without a complaint and prints the names as they are.
  auto text = run(VEXIL_PLOT_BINARY, {"-s", "120x30", "-c", columns, csv}, dir.path());
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.err, "");
  EXPECT_NE(text.out.find("a@b_c (sum per second)"), std::string::npos);
}

}  // namespace
