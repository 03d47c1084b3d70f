// Hostile inputs through the real vexil binary. Bad data is never an error: every case ends
// normally with the output that the reading rules give (malformed numbers read as 0, missing
// cells as zero, unknown columns summed, a line that yields no values ends its input), or with
// the user error the rules name. Large inputs are generated here, not stored.
#include <fcntl.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "test_support.h"

namespace {

using test_support::RunResult;
using test_support::TempDir;

struct Case {
  const char* what;
  std::string input;
  std::string out;
};

class HostileInputTest : public ::testing::Test {
 protected:
  RunResult vexil(const std::vector<std::string>& args) {
    return test_support::run(VEXIL_BINARY, args, dir.path());
  }
  // One input file holding content, merged alone.
  RunResult merge(const std::string& content) {
    return vexil({"-f", dir.write("input.csv", content)});
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

TEST_F(HostileInputTest, NulBytesEndTheLineText) {
  using namespace std::string_literals;
  expect_merges({
      {"in a data line", "#timestamp,a,b\n100,5\0,9\n200,1,2\n"s, "#timestamp,a,b\n300,6,2\n"},
      {"in a header line", "#timestamp,a\0,zzz\n100,1,2\n"s, "#timestamp,a\n300,1\n"},
      {"first in a data line: a row of zeros", "#timestamp,a\n100,1\n\0abc\n"s,
       "#timestamp,a\n300,1\n"},
      {"a file of NULs reads as supplemental drops", "\0\0\0"s, "#time,sdrops\n300,0\n"},
  });
}

TEST_F(HostileInputTest, CarriageReturnsStayInTheLastCell) {
  expect_merges({
      // "pct\r" is an unknown, summed column; "0.5\r" and "1.5\r" read as counters 0 and 1.
      {"current layout", "#timestamp,daq.received,pct\r\n100,5,0.5\r\n200,7,1.5\r\n",
       "#timestamp,daq.received,pct\r\n300,12,1\n"},
      // "sdrops\r" is not "sdrops": the current layout, whose time column "timestamp" is missing,
      // so every row falls into the bucket of time 0 and "time" is summed like any unknown column.
      {"supplemental drops", "#time,sdrops\r\n100,5\r\n250,7\r\n", "#time,sdrops\r\n350,12\n"},
  });
}

TEST_F(HostileInputTest, BinaryJunk) {
  using namespace std::string_literals;
  expect_merges({
      {"no header: supplemental drops of value 0", "\xff\xfe\0\x01\n\x80,\x81\n"s,
       "#time,sdrops\n300,0\n"},
      {"a comment line gives an empty layout, whose row ends the input",
       "#timestamp,a\n0,1\n##\n300,2\n#timestamp,a\n600,3\n", "#timestamp,a\n300,1\n"},
  });
  std::string junk(1 << 20, '\0');
  std::uint64_t x = 0x9E3779B97F4A7C15;
  for (char& c : junk) {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    c = static_cast<char>(x >> 56);
  }
  for (std::size_t i = 0; i < junk.size(); i += 4096) {
    junk[i] = i % 8192 == 0 ? '\n' : '#';  // also header lines of junk
  }
  RunResult r = merge(junk);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
}

TEST_F(HostileInputTest, TenThousandColumns) {
  std::string names, values, reversed_names, reversed_values, sums, threads, ones, twos;
  for (int j = 0; j < 10'000; ++j) {
    const std::string n = std::to_string(j), m = std::to_string(9'999 - j);
    // Appended piece by piece: GCC 12 warns falsely about `"," + std::string` at -O3.
    names.append(",c").append(n);
    values.append(",").append(n);
    reversed_names.append(",c").append(m);
    reversed_values.append(",").append(m);
    sums.append(",").append(std::to_string(2 * j));
    threads.append(",thread_").append(n).append(".cpu_user");
    ones += ",1";
    twos += ",2";
  }
  // The second input has the columns in reverse order: each is found by its name.
  dir.write("l/a/p.csv", "#timestamp" + names + "\n100" + values + "\n");
  dir.write("l/b/p.csv", "#timestamp" + reversed_names + "\n200" + reversed_values + "\n");
  RunResult r = vexil({"-d", dir.path() + "/l", "-l", "a", "-l", "b", "-f", "p.csv"});
  EXPECT_EQ(r.status, 0);
  EXPECT_TRUE(r.out == "#timestamp" + names + "\n300" + sums + "\n") << r.out.substr(0, 200);

  // Known per-thread columns, far beyond any real engine's thread count.
  r = merge("#timestamp" + threads + "\n100" + ones + "\n200" + ones + "\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_TRUE(r.out == "#timestamp" + threads + "\n300" + twos + "\n") << r.out.substr(0, 200);
}

// Every header line starts a layout; only the last one before a row counts. Each header also
// names a per-thread column of a new thread number.
TEST_F(HostileInputTest, ThousandsOfHeaderLines) {
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
  RunResult r = merge(input);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_TRUE(r.out == expected) << r.out.substr(0, 300);
}

TEST_F(HostileInputTest, DirectoriesAsInputs) {
  const std::string a = dir.write("a.csv", "#timestamp,a\n0,1\n");
  const std::string d = dir.path() + "/sub";
  std::filesystem::create_directory(d);
  struct {
    std::vector<std::string> args;
    std::string out, err;
    int status;
  } const cases[] = {
      {{"-f", d}, "", "", 0},  // reading a directory fails: an input that ends at once
      {{"-f", a, "-s", d}, "#timestamp,a\n300,1\n", "", 0},
      {{"-t", "-f", d}, "", "File read error\n", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    RunResult r = vexil(c.args);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.status, c.status);
  }
}

TEST_F(HostileInputTest, FileWithoutReadPermission) {
  const std::string a = dir.write("a.csv", "#timestamp,a\n0,1\n");
  const std::string locked = dir.write("locked.csv", "#timestamp,a\n0,2\n");
  ASSERT_EQ(chmod(locked.c_str(), 0), 0);
  const std::string out_path = dir.path() + "/.stdout", err_path = dir.path() + "/.stderr";
  pid_t pid = fork();
  if (pid == 0) {
    if (!std::freopen(out_path.c_str(), "w", stdout)
        || !std::freopen(err_path.c_str(), "w", stderr)) {
      _exit(127);
    }
    // As root the file would still be readable: give up the capabilities that bypass file
    // permissions for the program about to run.
    if (geteuid() == 0
        && (prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0) != 0
            || prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0) != 0)) {
      _exit(126);
    }
    execl(VEXIL_BINARY, VEXIL_BINARY, "-f", a.c_str(), "-s", locked.c_str(), nullptr);
    _exit(127);
  }
  int wstatus = 0;
  ASSERT_EQ(waitpid(pid, &wstatus, 0), pid);
  ASSERT_TRUE(WIFEXITED(wstatus));
  if (WEXITSTATUS(wstatus) == 126) {
    GTEST_SKIP() << "running as root without the right to drop capabilities";
  }
  EXPECT_EQ(WEXITSTATUS(wstatus), 1);
  EXPECT_EQ(test_support::slurp(out_path), "");
  EXPECT_EQ(test_support::slurp(err_path), "Unable to open file: " + locked + "\n");
}

// vexil -t on one file, its standard output read through a pipe. The child is killed when the
// object goes, so no test can leave it running.
class TailRun {
 public:
  explicit TailRun(const std::string& path) {
    int fds[2];
    if (pipe(fds) != 0) {
      ADD_FAILURE() << "pipe failed";
      return;
    }
    pid = fork();
    if (pid == 0) {
      dup2(fds[1], 1);
      close(fds[0]);
      close(fds[1]);
      execl(VEXIL_BINARY, VEXIL_BINARY, "-t", "-f", path.c_str(), nullptr);
      _exit(127);
    }
    close(fds[1]);
    out = fds[0];
    fcntl(out, F_SETFL, O_NONBLOCK);
  }
  ~TailRun() {
    if (pid > 0) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
    if (out >= 0) {
      close(out);
    }
  }
  TailRun(const TailRun&) = delete;
  TailRun& operator=(const TailRun&) = delete;

  // Everything printed within the given time, or until `size` bytes have arrived.
  std::string read(std::size_t size, std::chrono::milliseconds limit) {
    const auto until = std::chrono::steady_clock::now() + limit;
    while (got.size() < size && std::chrono::steady_clock::now() < until) {
      char buffer[4096];
      ssize_t n = ::read(out, buffer, sizeof buffer);
      if (n > 0) {
        got.append(buffer, static_cast<std::size_t>(n));
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
    }
    return got;
  }
  bool running() {
    if (pid > 0 && waitpid(pid, nullptr, WNOHANG) == pid) {
      pid = -1;
    }
    return pid > 0;
  }

  // Waits until the child has the file at path open and has read it up to offset.
  bool has_read(const std::string& path, long offset, std::chrono::milliseconds limit) {
    const auto until = std::chrono::steady_clock::now() + limit;
    const std::string proc = "/proc/" + std::to_string(pid);
    do {
      std::error_code ec;
      for (const auto& fd : std::filesystem::directory_iterator(proc + "/fd", ec)) {
        if (std::filesystem::read_symlink(fd.path(), ec) != path) {
          continue;
        }
        std::ifstream info(proc + "/fdinfo/" + fd.path().filename().string());
        std::string key;
        long position = -1;
        if (info >> key >> position && key == "pos:" && position == offset) {
          return true;
        }
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    } while (std::chrono::steady_clock::now() < until);
    return false;
  }

 private:
  pid_t pid = -1;
  int out = -1;
  std::string got;
};

void append(const std::string& path, const std::string& text) {
  FILE* f = std::fopen(path.c_str(), "a");
  ASSERT_NE(f, nullptr);
  std::fputs(text.c_str(), f);
  std::fclose(f);
}

// After truncation the reader stays at its old offset: it waits, and reads on from there once
// the file has grown past it again.
TEST_F(HostileInputTest, TailFollowsATruncatedFileFromItsOldOffset) {
  const std::string start = "#timestamp,a\n0,1\n";
  const std::string path = dir.write("a.csv", start);
  TailRun run(path);
  ASSERT_TRUE(run.has_read(path, static_cast<long>(start.size()), std::chrono::seconds(5)));
  ASSERT_EQ(truncate(path.c_str(), 0), 0);
  append(path, "600,5\n");  // before the old offset: never read
  EXPECT_EQ(run.read(1, std::chrono::milliseconds(300)), "");
  EXPECT_TRUE(run.running());
  append(path, std::string(start.size() - 6, 'x') + "900,2\n");  // "900,2" starts there
  const std::string expected = "#timestamp,a\n300,1\n";
  EXPECT_EQ(run.read(expected.size(), std::chrono::seconds(5)), expected);
  EXPECT_TRUE(run.running());
}

// A file renamed over the followed path is not seen: the reader keeps the file it opened.
TEST_F(HostileInputTest, TailKeepsReadingAReplacedFile) {
  const std::string start = "#timestamp,a\n0,1\n";
  const std::string path = dir.write("a.csv", start);
  TailRun run(path);
  ASSERT_TRUE(run.has_read(path, static_cast<long>(start.size()), std::chrono::seconds(5)));
  FILE* old_file = std::fopen(path.c_str(), "a");
  ASSERT_NE(old_file, nullptr);
  const std::string replacement = dir.write("new.csv", "#timestamp,a\n600,5\n");
  ASSERT_EQ(std::rename(replacement.c_str(), path.c_str()), 0);
  append(path, "900,7\n");
  EXPECT_EQ(run.read(1, std::chrono::milliseconds(300)), "");
  std::fputs("1200,2\n", old_file);
  std::fclose(old_file);
  const std::string expected = "#timestamp,a\n300,1\n";
  EXPECT_EQ(run.read(expected.size(), std::chrono::seconds(5)), expected);
  EXPECT_TRUE(run.running());
}

}  // namespace
