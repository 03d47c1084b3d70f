// Hostile inputs through the real vexil binary. Bad data is never an error: every case ends
// normally with the output that the reading rules give (malformed numbers read as 0, missing
// cells as zero, unknown columns summed, a line that yields no values ends its input), or with
// the user error the rules name. Large inputs are generated here, not stored.
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <random>

#include "test_support.h"

namespace {

using namespace std::string_literals;
using test_support::RunResult;
using test_support::TempDir;

struct Case {
  const char* what;
  std::string input, out;
};

class HostileInputTest : public ::testing::Test {
 protected:
  // One input file holding content, merged alone.
  RunResult merge(const std::string& content) {
    return test_support::run(VEXIL_BINARY, {"-f", dir.write("input.csv", content)}, dir.path());
  }
  // Each input merged alone ends normally, printing exactly the expected output.
  void expect_merges(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
      SCOPED_TRACE(c.what);
      RunResult r = merge(c.input);
      EXPECT_EQ(r.status, 0);
      EXPECT_EQ(r.err, "");
      EXPECT_TRUE(r.out == c.out) << "output starts: " << r.out.substr(0, 200);
    }
  }
  TempDir dir;
};

TEST_F(HostileInputTest, TenMegabyteLines) {
  const std::string digits(10'000'000, '7');
  const std::string name(10'000'000, 'c');
  std::string cells = "100,1";
  while (cells.size() < 10'000'000) {
    cells += ",2";
  }
  const std::string h = "#timestamp,a,b\n";
  expect_merges({
      // strtoull saturates at 2^64 - 1, and the sum wraps modulo 2^64.
      {"a 10 MB number", h + "100," + digits + ",5\n200,1,2\n", h + "300,0,7\n"},
      {"a 10 MB column name", "#timestamp," + name + "\n100,4\n",
       "#timestamp," + name + "\n300,4\n"},
      {"5 million cells, the surplus ignored", h + cells + "\n", h + "300,1,2\n"},
      {"10 MB of empty cells: a row of zeros", h + std::string(10'000'000, ',') + "\n100,3,4\n",
       h + "300,3,4\n"},
      {"a 10 MB real overflows", "#timestamp,stats.pkt_drop_percent\n100,1" + digits + "\n",
       "#timestamp,stats.pkt_drop_percent\n300,inf\n"},
  });
}

TEST_F(HostileInputTest, NulBytesCarriageReturnsAndBinaryJunk) {
  expect_merges({
      // A NUL byte ends the text of its line.
      {"NUL in a data line", "#timestamp,a,b\n100,5\0,9\n200,1,2\n"s, "#timestamp,a,b\n300,6,2\n"},
      {"NUL in a header line", "#timestamp,a\0,zzz\n100,1,2\n"s, "#timestamp,a\n300,1\n"},
      {"NUL first in a data line: a row of zeros", "#timestamp,a\n100,1\n\0abc\n"s,
       "#timestamp,a\n300,1\n"},
      {"a file of NULs reads as supplemental drops", "\0\0\0"s, "#time,sdrops\n300,0\n"},
      // Carriage returns stay in the last cell. "pct\r" is an unknown, summed column; "0.5\r"
      // and "1.5\r" read as counters 0 and 1.
      {"CRLF, current layout", "#timestamp,daq.received,pct\r\n100,5,0.5\r\n200,7,1.5\r\n",
       "#timestamp,daq.received,pct\r\n300,12,1\n"},
      // "sdrops\r" is not "sdrops": the current layout, whose time column "timestamp" is missing,
      // so every row falls into the bucket of time 0 and "time" is summed like any unknown column.
      {"CRLF, supplemental drops", "#time,sdrops\r\n100,5\r\n250,7\r\n",
       "#time,sdrops\r\n350,12\n"},
      {"junk without a header: supplemental drops of value 0", "\xff\xfe\0\x01\n\x80,\x81\n"s,
       "#time,sdrops\n300,0\n"},
  });
  std::string junk(1 << 20, '\0');
  std::mt19937 random(1);
  for (char& c : junk) {
    c = static_cast<char>(random());
  }
  for (std::size_t i = 0; i < junk.size(); i += 4096) {
    junk[i] = i % 8192 == 0 ? '\n' : '#';  // also header lines of junk
  }
  RunResult r = merge(junk);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
}

// 10,000 columns, and 3,000 header lines: each header starts a layout, and only the last one
// before a row counts. Each header also names a per-thread column of a new thread number.
TEST_F(HostileInputTest, TenThousandColumnsAndThousandsOfHeaderLines) {
  std::string names, values, reversed_names, reversed_values, sums, threads;
  for (int j = 0; j < 10'000; ++j) {
    const std::string n = std::to_string(j), m = std::to_string(9'999 - j);
    // Appended piece by piece: GCC 12 warns falsely about `"," + std::string` at -O3.
    names.append(",c").append(n);
    values.append(",").append(n);
    reversed_names.append(",c").append(m);
    reversed_values.append(",").append(m);
    sums.append(",").append(std::to_string(2 * j));
    threads.append(",thread_").append(n).append(".cpu_user");
  }
  // The second input has the columns in reverse order: each is found by its name.
  const std::string a = dir.write("a.csv", "#timestamp" + names + "\n100" + values + "\n");
  const std::string b =
      dir.write("b.csv", "#timestamp" + reversed_names + "\n200" + reversed_values + "\n");
  RunResult r = test_support::run(VEXIL_BINARY, {"-f", a, "-f", b}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_TRUE(r.out == "#timestamp" + names + "\n300" + sums + "\n") << r.out.substr(0, 200);

  std::string input, expected;
  for (int i = 0; i < 3'000; ++i) {
    const std::string header =
        "#timestamp,n" + std::to_string(i % 3) + ",thread_" + std::to_string(i) + ".cpu_user\n";
    input += header;
    if (i % 10 == 9) {
      input += std::to_string(i * 300) + "," + std::to_string(i) + "\n";
      expected += header + std::to_string(i * 300 + 300) + "," + std::to_string(i) + ",0\n";
    }
  }
  expect_merges({
      // Known per-thread columns, far beyond any real engine's thread count.
      {"10,000 threads", "#timestamp" + threads + "\n100" + values + "\n200" + values + "\n",
       "#timestamp" + threads + "\n300" + sums + "\n"},
      {"3,000 headers", input, expected},
  });
}

TEST_F(HostileInputTest, DirectoriesAndUnreadableFiles) {
  const std::string a = dir.write("a.csv", "#timestamp,a\n0,1\n");
  const std::string locked = dir.write("locked.csv", "#timestamp,a\n0,2\n");
  ASSERT_EQ(chmod(locked.c_str(), 0), 0);
  const std::string d = dir.path() + "/sub";
  std::filesystem::create_directory(d);
  struct {
    std::vector<std::string> args;
    std::string out, err;
    int status;
  } const cases[] = {
      {{"-f", d}, "", "", 0},  // reading a directory fails: an input that ends at once
      {{"-f", a, "-s", d}, "#timestamp,a\n300,1\n", "", 0},
      {{"-f", a, "-f", d}, "#timestamp,a\n300,1\n", "", 0},
      {{"-t", "-f", d}, "", "File read error\n", 1},
      {{"-f", a, "-s", locked}, "", "Unable to open file: " + locked + "\n", 1},
  };
  // As root the locked file would still be readable: that run goes without the capabilities that
  // bypass file permissions.
  const std::function<bool()> drop_capabilities = [] {
    return geteuid() != 0
           || (prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0) == 0
               && prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0) == 0);
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    RunResult r = test_support::run(VEXIL_BINARY, c.args, dir.path(), false,
                                    c.args.back() == locked ? drop_capabilities : nullptr);
    if (r.status == 126) {
      GTEST_SKIP() << "running as root without the right to drop capabilities";
    }
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.status, c.status);
  }
}

}  // namespace
