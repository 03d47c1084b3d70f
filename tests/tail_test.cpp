// SPDX-License-Identifier: Apache-2.0
// Following files under -t through the real vexil binary: rotation, truncation, a new file that
// cannot be opened, stop signals. Every wait is bounded and ends as soon as the output is there.
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "test_support.h"

namespace {

using namespace std::chrono_literals;
using test_support::append;
using test_support::RunResult;
using test_support::Spawned;

const std::string H = "#timestamp,a\n";

class TailTest : public ::testing::Test {
 protected:
  test_support::TempDir dir;
  const std::string a = dir.write("a.csv", H + "0,1\n300,2\n");
};

TEST_F(TailTest, RotatedFileIsReadToItsEndThenTheNewOneFromItsStart) {
  Spawned run(VEXIL_BINARY, {"-t", "-f", a});
  ASSERT_EQ(run.read(19, 5s), H + "300,1\n");  // a is open and read to its end
  ASSERT_EQ(std::rename(a.c_str(), (a + ".1").c_str()), 0);
  // Written late into the old file: still read, but for its cut last line.
  append(a + ".1", "400,3\n450,9");
  dir.write("a.csv", "#timestamp,a,b\n600,4,5\n900,0,0\n");
  ASSERT_EQ(run.read(46, 5s), H + "300,1\n600,5\n#timestamp,a,b\n900,4,5\n");
  // Rotated to a compressed file: it is read to its end, which ends the input and so the run.
  const std::string text = dir.write("b", "#timestamp,a,b\n1200,7,8\n");
  dir.write("b.gz", test_support::run("/usr/bin/gzip", {"-c", text}, dir.path()).out);
  ASSERT_EQ(std::rename((text + ".gz").c_str(), a.c_str()), 0);
  EXPECT_EQ(run.read(64, 5s), H + "300,1\n600,5\n#timestamp,a,b\n900,4,5\n1200,0,0\n1500,7,8\n");
}

TEST_F(TailTest, TruncatedFileIsReadAgainFromItsTopInTheSameLayoutAndWholeLines) {
  Spawned run(VEXIL_BINARY, {"-t", "-f", a});
  ASSERT_EQ(run.read(19, 5s), H + "300,1\n");
  ASSERT_EQ(truncate(a.c_str(), 0), 0);
  // A line written in parts, longer together than the reader's line buffer (surplus commas are
  // ignored), then a whole one.
  for (const std::string& part :
       {std::string("600,5\n9"), "00,1" + std::string(100, ','), std::string(100, ',')}) {
    append(a, part);
    std::this_thread::sleep_for(50ms);  // the reader meets a line that is not finished yet
  }
  append(a, "\n1200,2\n");
  EXPECT_EQ(run.read(38, 5s), H + "300,1\n600,2\n900,5\n1200,1\n");
}

// Copied aside, truncated and written past its old size while its reader may still hold rows of
// the old text, then the other input passes the buckets: every bucket both passed is printed
// once, with the old rows and the new ones, whatever the order the inputs are read in.
TEST_F(TailTest, FileRewrittenPastItsOldSizeLosesNoBucket) {
  dir.write("a.csv", H + "1000,1\n1010,1\n1020,1\n1025,1\n");
  const std::string b = dir.write("b.csv", H + "1000,1\n1020,1\n1030,1\n");
  Spawned run(VEXIL_BINARY, {"-t", "-T", "60", "-f", a, "-f", b});
  ASSERT_EQ(run.read(20, 5s), H + "1020,3\n");  // a's old text has been read
  ASSERT_EQ(truncate(a.c_str(), 0), 0);
  append(a, "1030,1\n1040,1\n1050,1\n1060,1\n1070,1\n1080,1\n");
  std::string rows;
  for (int t = 1040; t <= 1190; t += 10) {
    rows += std::to_string(t) + ",1\n";
  }
  append(b, rows);
  append(a, "1190,1\n");
  append(a, "1191,1\n1192,1\n1193,1\n1194,1\n1195,1\n");  // under lock-step reading, b catches up
  const std::string all = H + "1020,3\n1080,13\n1140,7\n";
  EXPECT_EQ(run.read(all.size(), 5s), all);
}

// Truncated under a writer that does not append (copytruncate): its next write lands at its old
// offset, after a hole of NULs longer than a line may be. The hole is passed over, not read as a
// line: no row is lost, none invented, and the run goes on.
TEST_F(TailTest, HoleLeftByAWriterThatDoesNotAppendIsPassedOver) {
  const int fd = open(a.c_str(), O_WRONLY | O_TRUNC);
  ASSERT_GE(fd, 0);
  const auto write_all = [fd](const std::string& text) {
    ASSERT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  };
  const std::string row = "0,1" + std::string(1021, ',') + "\n";  // surplus commas are ignored
  std::string text = H;
  for (int i = 0; i < 17 * 1024; ++i) {
    text += row;
  }
  write_all(text + "300,2\n");
  Spawned run(VEXIL_BINARY, {"-t", "-f", a});
  const std::string first = H + "300,17408\n";
  ASSERT_EQ(run.read(first.size(), 10s), first);
  ASSERT_EQ(truncate(a.c_str(), 0), 0);
  write_all("600,4\n");
  std::this_thread::sleep_for(50ms);
  write_all("900,8\n");
  EXPECT_EQ(run.read(first.size() + 12, 10s), first + "600,2\n900,4\n");
  close(fd);
}

// A new file that cannot be opened ends the run as at start-up, after the buckets held.
TEST_F(TailTest, UnopenableNewFileEndsTheRun) {
  const std::string locked = dir.write("locked.csv", H + "600,1\n");
  ASSERT_EQ(chmod(locked.c_str(), 0), 0);
  std::thread rotate([&] {
    for (int i = 0; i < 1000 && test_support::slurp(dir.path() + "/.stdout").empty(); ++i) {
      std::this_thread::sleep_for(5ms);
    }
    std::rename(locked.c_str(), a.c_str());
  });
  RunResult r = test_support::run(VEXIL_BINARY, {"-t", "-f", a}, dir.path(), [] {
    return geteuid() != 0
           || (prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0) == 0
               && prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0) == 0);
  });
  rotate.join();
  if (r.status == 126) {
    GTEST_SKIP() << "running as root without the right to drop capabilities";
  }
  EXPECT_EQ(r.out, H + "300,1\n600,2\n");
  EXPECT_EQ(r.err, "Unable to open file: " + a + "\n");
  EXPECT_EQ(r.status, 1);
}

// SIGTERM ends a run with status 143 after a whole line, whenever it comes: at once, while the
// output is blocked (the pipe is not read) in the middle of a line far longer than any buffer, or
// in tail mode while the run waits for the file to grow.
TEST_F(TailTest, SigtermEndsTheOutputAfterAWholeLine) {
  std::string row, text = "#timestamp";
  for (int c = 0; c < 3000; ++c) {
    text += ",c" + std::to_string(c);
    row += ",12345";
  }
  for (int t = 0; t < 40; ++t) {
    text.append("\n").append(std::to_string(t)).append(row);
  }
  const std::string big = dir.write("big.csv", text + "\n");
  const std::string all = test_support::run(VEXIL_BINARY, {"-T1", "-f", big}, dir.path()).out;
  const std::string held_back = all.substr(0, all.rfind('\n', all.size() - 2) + 1);  // tail mode
  for (const std::string moment : {"at once", "blocked", "idle", "-T1 at once", "-T1 blocked"}) {
    SCOPED_TRACE(moment);
    const bool tail = moment[0] != '-';
    Spawned run(VEXIL_BINARY, {tail ? "-t" : "-T1", "-T1", "-f", big});
    if (moment.find("blocked") != std::string::npos) {
      std::this_thread::sleep_for(200ms);
    } else if (moment == "idle") {
      ASSERT_EQ(run.read(held_back.size(), 10s), held_back);
    }
    EXPECT_EQ(run.stop(SIGTERM), 143);
    const std::string out = run.read(0, 0s);
    EXPECT_TRUE(out.empty() || out.back() == '\n');
    EXPECT_EQ(out, all.substr(0, out.size()));
  }
}

}  // namespace

// --max-lag 60, stderr merged into the output. Each case writes both inputs, reads the first
// output, then appends to b and after that to a, and reads the rest: a bucket leaves once a row
// read is more than 60 s past its end (and confirmed by the next row of its input or by another
// input), without the inputs that hold it back; their rows for buckets already printed are
// dropped, never printed as a second line.
TEST_F(TailTest, MaxLagMergesWithoutTheInputsThatLag) {
  const std::string lag = "vexil: b.csv: no row past 00:05:00Z; merging without it\n";
  struct Case {
    const char *name, *a, *b, *first, *later_b, *later_a, *rest;
  } cases[] = {
      {"silent", "0,1\n300,1\n420,1\n700,1\n710,0\n", "0,10\n", "300,11\n600,2\n", "", "", ""},
      {"slow", "0,1\n300,1\n420,1\n700,1\n710,0\n", "0,10\n", "300,11\n600,2\n", "310,5\n610,7\n",
       "1000,1\n1010,0\n",
       "vexil: b.csv: caught up; 1 row for buckets already printed was dropped\n"
       "vexil: b.csv: no row past 00:15:00Z; merging without it\n900,8\n"},
      {"never starts", "0,1\n300,1\n420,1\n430,0\n", "", "300,1\n", "0,3\n400,4\n",
       "900,1\n910,0\n",
       "vexil: b.csv: caught up; 1 row for buckets already printed was dropped\n"
       "vexil: b.csv: no row past 00:10:00Z; merging without it\n600,6\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    dir.write("a.csv", H + c.a);
    const std::string b = dir.write("b.csv", H + c.b);
    Spawned run("/bin/sh", {"-c", "cd \"$0\" && exec \"$@\" 2>&1", dir.path(), VEXIL_BINARY, "-t",
                            "--max-lag", "60", "-f", "a.csv", "-f", "b.csv"});
    const std::string first = lag + H + c.first;
    ASSERT_EQ(run.read(first.size(), 5s), first);
    append(b, c.later_b);
    append(a, c.later_a);
    EXPECT_EQ(run.read(first.size() + std::strlen(c.rest), 5s), first + c.rest);
  }
}

// All inputs silent: nothing is printed past what the data times allow, however long the run
// waits. A service manager listening on NOTIFY_SOCKET hears READY=1, the status and, with a
// watchdog, pings from the idle wait.
TEST_F(TailTest, AllSilentAndTheServiceManagerIsTold) {
  dir.write("a.csv", H + "0,1\n300,1\n600,1\n");
  dir.write("b.csv", H + "0,10\n300,1\n650,1\n");
  const std::string socket_path = dir.path() + "/notify";
  const int sock = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  sockaddr_un address{AF_UNIX, {}};
  socket_path.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  Spawned run("/bin/sh",
              {"-c",
               "cd \"$0\" && exec env NOTIFY_SOCKET=\"$0/notify\" "
               "WATCHDOG_USEC=40000 \"$@\" 2>&1",
               dir.path(), VEXIL_BINARY, "-t", "--max-lag", "60", "-f", "a.csv", "-f", "b.csv"});
  const std::string out = H + "300,11\n600,2\n";
  ASSERT_EQ(run.read(out.size(), 5s), out);
  const std::string told =
      "READY=1|STATUS=2 inputs, last bucket ended 00:05:00Z, 0 lagging|STATUS=2 inputs, last "
      "bucket ended 00:10:00Z, 0 lagging|";
  std::string heard;  // all but the pings, which may come between (a wait between two passes)
  int pings = 0;
  for (int i = 0; (pings < 3 || heard.size() < told.size()) && i < 1000; ++i) {
    char message[256];
    const ssize_t n = recv(sock, message, sizeof message, 0);
    if (n <= 0) {
      std::this_thread::sleep_for(5ms);
    } else if (std::string_view(message, static_cast<std::size_t>(n)) == "WATCHDOG=1") {
      ++pings;
    } else {
      heard.append(message, static_cast<std::size_t>(n)).append("|");
    }
  }
  close(sock);
  EXPECT_EQ(run.stop(SIGTERM), 143);
  EXPECT_EQ(run.read(0, 0s), out);
  EXPECT_EQ(heard, told);
  EXPECT_GE(pings, 3);
}
