// Compressed inputs through the real vexil binary: the files are compressed here with the gzip,
// zstd and xz tools, and must merge exactly as their plain text does.
#include "test_support.h"

namespace {

using test_support::RunResult;
using test_support::TempDir;

const std::vector<std::string> ENGINES = {"engine1", "engine2", "engine3", "engine4"};

class CompressedInputTest : public ::testing::Test {
 protected:
  // The text compressed by the tool of a format: "gz", "zst", "xz", "gz2" (two gzip members,
  // concatenated) or "plain"; drop removes that many bytes from the end.
  std::string compress(const std::string& text, const std::string& format, std::size_t drop = 0) {
    if (format == "gz2") {
      const std::size_t half = text.size() / 2;
      return compress(text.substr(0, half), "gz") + compress(text.substr(half), "gz");
    }
    const std::map<std::string, std::string> tools = {
        {"gz", "/usr/bin/gzip"}, {"zst", "/usr/bin/zstd"}, {"xz", "/usr/bin/xz"}};
    if (format == "plain") {
      return text;
    }
    const std::string path = dir.write("in.txt", text);
    RunResult r = test_support::run(tools.at(format), {"-c", "-q", path}, dir.path());
    EXPECT_EQ(r.status, 0) << format << ": " << r.err;
    return r.out.substr(0, r.out.size() - drop);
  }
  RunResult vexil(const std::string& base, const std::string& supplemental) {
    std::vector<std::string> args = {"-d", base, "-f", "perf_monitor.csv", "-s", supplemental};
    for (const std::string& engine : ENGINES) {
      args.insert(args.end(), {"-l", engine});
    }
    return test_support::run(VEXIL_BINARY, args, dir.path());
  }
  TempDir dir;
};

TEST_F(CompressedInputTest, MergeAsTheirPlainText) {
  const std::string examples = EXAMPLES_DIR "/logs";
  const RunResult plain = vexil(examples, examples + "/supplemental/sdrops.csv");
  ASSERT_EQ(plain.status, 0);
  // One format per input: the four engines, then the supplemental file.
  const std::vector<std::vector<std::string>> cases = {{"gz", "gz", "gz", "gz", "gz"},
                                                       {"zst", "zst", "zst", "zst", "zst"},
                                                       {"xz", "xz", "xz", "xz", "xz"},
                                                       {"gz2", "plain", "zst", "xz", "plain"},
                                                       {"plain", "gz2", "plain", "plain", "xz"}};
  for (const auto& formats : cases) {
    SCOPED_TRACE(::testing::PrintToString(formats));
    for (std::size_t i = 0; i < ENGINES.size(); ++i) {
      const std::string text =
          test_support::slurp(examples + "/" + ENGINES[i] + "/perf_monitor.csv");
      dir.write("c/" + ENGINES[i] + "/perf_monitor.csv", compress(text, formats[i]));
    }
    const std::string sdrops = test_support::slurp(examples + "/supplemental/sdrops.csv");
    RunResult r = vexil(dir.path() + "/c", dir.write("c/sdrops", compress(sdrops, formats[4])));
    EXPECT_EQ(r.out, plain.out);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 0);
  }
}

// A stream cut before its end: the complete lines before the cut are merged and every bucket
// printed, the part of a line at the cut is not used, and the run fails naming the file. In tail
// mode too: a compressed file is not followed past its end.
TEST_F(CompressedInputTest, TruncatedStreamEndsTheRunAfterItsBuckets) {
  const std::string h = "#timestamp,n\n";
  const std::string a = dir.write("a", compress(h + "100,1\n400,2\n700,4\n", "gz"));
  // Without their trailer (gzip: CRC and length; zstd: checksum; xz: stream footer).
  const std::vector<std::pair<std::string, std::size_t>> cases = {
      {"gz", 8}, {"zst", 4}, {"xz", 12}};
  for (const auto& [format, drop] : cases) {
    const std::string cut = dir.write("b", compress(h + "100,8\n400,16\n700,32", format, drop));
    for (const char* tail : {"-T300", "-t"}) {
      SCOPED_TRACE(format + tail);
      RunResult r = test_support::run(VEXIL_BINARY, {tail, "-f", a, "-f", cut}, dir.path());
      EXPECT_EQ(r.out, h + "300,9\n600,18\n900,4\n");
      EXPECT_EQ(r.err, "File read error: " + cut + ": unexpected end of compressed data\n");
      EXPECT_EQ(r.status, 1);
    }
  }
}

}  // namespace
