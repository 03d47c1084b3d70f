// End-to-end runs of the vexil binary on small files: exact stdout, stderr and exit status.
#include "test_support.h"

namespace {

using test_support::RunResult;
using test_support::TempDir;

const std::string HELP =
    "\nvexil v 7.0.0 \n"
    "usage: vexil options\n"
    "   -h show this help\n"
    "   -d base-dir-path\n"
    "   -f file-name\n"
    "   -l log-dir1 -l log-dir2 -l log-dir3 ...\n"
    "   -T target bucket time \n"
    "   -t tail real time performance\n"
    "   -s supplemental-drop-file\n"
    " files are read from each 'log-dirX' as 'base-dir-path/log-dirX/file-name'\n"
    " multiple file-names may be specified\n"
    "\n";

class VexilTest : public ::testing::Test {
 protected:
  RunResult vexil(const std::vector<std::string>& args) {
    return test_support::run(VEXIL_BINARY, args, dir.path());
  }
  TempDir dir;
};

TEST_F(VexilTest, CommandLineOutcomes) {
  struct Case {
    std::vector<std::string> args;
    std::string out, err;
    int status;
  };
  const std::string missing = dir.path() + "/missing";
  const Case cases[] = {
      {{"-h", "-Q"}, HELP, "", 0},
      {{"-h", "-T", "0"}, HELP, "", 0},
      {{"-T", "0", "-h"}, "", "Invalid bucket size specified: 0\n", 1},
      {{"-f", "x", "-T", "-5"}, "", "Invalid bucket size specified: -5\n", 1},
      {{"-s", "x"}, "", "Filename must be specified with -f\n", 1},
      {{}, "", "Filename must be specified with -f\n", 1},
      {{"-f", missing, "-f", "also-missing"}, "", "Unable to open file: " + missing + "\n", 1},
      {{"-d", dir.path() + "/", "-l", "x/", "-f", "a"},
       "",
       "Unable to open file: " + dir.path() + "//x//a\n",
       1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    RunResult r = vexil(c.args);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.status, c.status);
  }
  RunResult unknown = vexil({"-Q", "-f", "x"});
  EXPECT_EQ(unknown.out, HELP);
  EXPECT_NE(unknown.err.find("Unrecognized argument: ?\n"), std::string::npos);
  EXPECT_EQ(unknown.status, 1);
  RunResult missing_arg = vexil({"-f"});
  EXPECT_NE(missing_arg.err.find("Unrecognized argument: ?\n"), std::string::npos);
}

TEST_F(VexilTest, NonNumericBucketSizeEndsAbnormally) {
  RunResult r = vexil({"-f", "x", "-T", "abc"});
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.status, 1);
  EXPECT_NE(r.err.find("stoi"), std::string::npos);
  EXPECT_EQ(vexil({"-T", "60s", "-h"}).status, 0) << "trailing text after the number is ignored";
}

TEST_F(VexilTest, PathsAreBuiltLogDirMajor) {
  const std::string h = "#timestamp,n\n";
  dir.write("b/x/a", h + "100,1\n");
  dir.write("b/x/c", h + "100,2\n");
  dir.write("b/y/a", h + "100,4\n");
  dir.write("b/y/c", h + "100,8\n");
  RunResult r = vexil({"-d", dir.path() + "/b", "-l", "x", "-l", "y", "-f", "a", "-f", "c"});
  EXPECT_EQ(r.out, "#timestamp,n\n300,15\n");
  EXPECT_EQ(r.status, 0);
  // Only the first path that cannot be opened is reported.
  RunResult missing = vexil({"-d", dir.path() + "/b", "-l", "x", "-l", "z", "-f", "a", "-f", "q"});
  EXPECT_EQ(missing.err, "Unable to open file: " + dir.path() + "/b/x/q\n");
}

TEST_F(VexilTest, BucketBoundariesAndEndTimes) {
  const std::string a = dir.write("a.csv",
                                  "#timestamp,sum,stats.pkt_drop_percent\n"
                                  "1000,1,1\n1100,2,2\n1199,4,6\n"  // one bucket, printed at 1200
                                  "1200,8,1\n"                      // starts the next one
                                  "1000,16,5\n"                     // back in time: printed again
                                  "-100,32,1\n");                   // truncated toward zero
  RunResult r = vexil({"-f", a});
  EXPECT_EQ(r.out,
            "#timestamp,sum,stats.pkt_drop_percent\n"
            "1200,7,3\n"  // printed once the 1200 row has passed its end
            "300,32,1\n"  // the rest wait behind the oldest bucket until the input ends
            "1200,16,5\n"
            "1500,8,1\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(vexil({"-T", "60", "-f", a}).out,
            "#timestamp,sum,stats.pkt_drop_percent\n"
            "1020,1,1\n1140,2,2\n1200,4,6\n0,32,1\n1020,16,5\n1260,8,1\n");
}

TEST_F(VexilTest, InputsEndingAtDifferentTimes) {
  const std::string h = "#timestamp,daq.received,stream_tcp.sessions,stream_tcp.max\n";
  dir.write("l/one/p.csv", h + "0,1,10,100\n100,1,20,50\n300,1,30,60\n600,1,40,70\n900,1,5,5\n");
  dir.write("l/two/p.csv", h + "0,10,1,1\n200,10,2,2\n");
  RunResult r = vexil({"-d", dir.path() + "/l", "-l", "one", "-l", "two", "-f", "p.csv"});
  EXPECT_EQ(r.out,
            "#timestamp,daq.received,stream_tcp.sessions,stream_tcp.max\n"
            "300,22,22,102\n"
            "600,1,30,60\n"
            "900,1,40,70\n"
            "1200,1,5,5\n");
  EXPECT_EQ(r.status, 0);
}

TEST_F(VexilTest, OlderLayoutsAreUpgraded) {
  dir.write("l/new/p.csv", "#timestamp,daq.received,daq.dropped,appid.apps\n300,100,1,7\n");
  dir.write("l/old/p.csv",
            "#time,pkt_drop_percent,pkt_stats.pkts_recv,pkt_stats.pkts_drop,iCPUs\n"
            "310,0.5,40,2,4\n");
  const std::string sdrops = dir.write("sdrops.csv", "#time,sdrops\n320,5\n");
  const std::string headerless = dir.write("bare.csv", "330,6\n");
  RunResult r = vexil({"-d", dir.path() + "/l", "-l", "new", "-l", "old", "-f", "p.csv", "-s",
                       sdrops, "-s", headerless});
  EXPECT_EQ(r.out,
            "#timestamp,daq.received,daq.dropped,appid.apps,stats.pkt_drop_percent\n"
            "600,140,14,7,0.5\n");  // iCPUs is a hidden kind in the current layout
  // A supplemental file alone keeps its own layout.
  EXPECT_EQ(vexil({"-f", sdrops}).out, "#time,sdrops\n600,5\n");
}

TEST_F(VexilTest, LayoutChangePrintsAnotherHeader) {
  const std::string a = dir.write("a.csv",
                                  "#timestamp,a\n0,1\n300,2\n"
                                  "#timestamp,a,b\n600,3,4\n"
                                  "#timestamp,a,b\n900,5,6\n");
  EXPECT_EQ(vexil({"-f", a}).out,
            "#timestamp,a\n300,1\n600,2\n#timestamp,a,b\n900,3,4\n1200,5,6\n");
}

TEST_F(VexilTest, BucketsHeldWhenARunFailsArePrintedFirst) {
  const std::string a = dir.write("a.csv", "#timestamp,a\n0,1\n");
  // In tail mode a directory fails to read: the bucket already filled is printed, then the error.
  RunResult r = test_support::run(VEXIL_BINARY, {"-t", "-f", a, "-f", dir.path()}, dir.path(),
                                  /*merge_stderr=*/true);
  EXPECT_EQ(r.out, "#timestamp,a\n300,1\nFile read error\n");
  EXPECT_EQ(r.status, 1);
  RunResult open_failure = vexil({"-f", a, "-f", dir.path() + "/missing"});
  EXPECT_EQ(open_failure.out, "");
  EXPECT_EQ(open_failure.err, "Unable to open file: " + dir.path() + "/missing\n");
}

// Follows two growing files: each appended line lets the loop make one pass.
TEST_F(VexilTest, TailModeFollowsGrowingFiles) {
  const std::string h = "#timestamp,a\n";
  const std::string a = dir.write("a.csv", h + "0,1\n");
  const std::string b = dir.write("b.csv", h + "0,2\n");
  test_support::Spawned run(VEXIL_BINARY, {"-t", "-f", a, "-f", b});
  test_support::append(a, "300,4\n");
  test_support::append(b, "400,8\n");
  EXPECT_EQ(run.read(19, std::chrono::seconds(5)), "#timestamp,a\n300,3\n");
}

}  // namespace
