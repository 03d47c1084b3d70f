// SPDX-License-Identifier: Apache-2.0
// Soak run of `vexil -t`: first idle, then writers append to every input at a steady rate,
// rotating some inputs (renamed, new file with a header) and truncating one in place, while vexil
// follows them. Reports vexil's CPU share in both phases, its peak RSS after the idle phase and at
// the end, and how long after the line that completes a bucket was written to every input the
// bucket reached vexil's output. Finally checks that what vexil printed is exactly the start of
// what a plain merge of the same lines prints.
//
// Given MAX_LAG, vexil runs with --max-lag MAX_LAG and one input (the middle one) stops halfway
// for 600 s of sample time, then writes 20 s of rows it held back (late: dropped) and goes on.
// Then reports the most sample time written past a bucket's end when it reached vexil's output,
// what vexil said on stderr, that no bucket came twice, and that every bucket without late rows
// equals the plain merge's.
//
//   soak VEXIL WORKDIR [inputs=16] [lines_per_second=200] [seconds=60] [idle_seconds=60] [max_lag]
// SOAK_VEXIL_ARGS in the environment: more options for vexil, separated by spaces.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr long long START = 1'700'000'000;  // first sample time, a multiple of BUCKET
constexpr int BUCKET = 10;                  // seconds of sample time per bucket (-T)
const char* const HEADER =
    "#timestamp,daq.received,daq.dropped,stream_tcp.sessions,stream_tcp.max,stats.usr[0]\n";

struct Input {
  std::string path, history;  // the followed file; every line written to it, in order
  int fd = -1;
  std::ofstream log;  // writes history
};

std::string sample(long long t, int i) {
  char line[160];
  std::snprintf(line, sizeof line, "%lld,%lld,%lld,%lld,%lld,%lld.%d\n", t,
                1000 + (t * 7 + i * 13) % 9000, (t + i) % 17, 100 + (t * 3 + i) % 50,
                200 + (t + i * 5) % 80, (t + i) % 90, i % 10);
  return line;
}

void write_all(int fd, const std::string& text) {
  if (::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    std::perror("write");
    std::exit(1);
  }
}

void open_new(Input& in) {
  if (in.fd >= 0) {
    ::close(in.fd);
  }
  in.fd = ::open(in.path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_TRUNC, 0644);
  write_all(in.fd, HEADER);
  in.log << HEADER;
}

void append(Input& in, const std::string& line) {
  write_all(in.fd, line);
  in.log << line;
}

// utime + stime of pid, in clock ticks; given a task (thread) id, of that thread alone.
long long cpu_ticks(pid_t pid, const std::string& task = "") {
  std::ifstream stat("/proc/" + std::to_string(pid) + (task.empty() ? "" : "/task/" + task)
                     + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat)), {});
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skip;
  long long user = 0, system = 0;
  for (int i = 3; i < 14; ++i) {
    fields >> skip;
  }
  fields >> user >> system;
  return user + system;
}

// The processor time of vexil's HTTP server thread (--metrics-listen), in clock ticks; -1 when
// it has none.
long long server_ticks(pid_t pid) {
  long long ticks = -1;
  for (const auto& task :
       std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (name.rfind("MHD", 0) == 0) {
      ticks = std::max(ticks, 0LL) + cpu_ticks(pid, task.path().filename().string());
    }
  }
  return ticks;
}

long status_kib(pid_t pid, const std::string& key) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(key + ":", 0) == 0) {
      return std::atol(line.c_str() + key.size() + 1);
    }
  }
  return -1;
}

double seconds_since(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

std::string run_plain(const std::string& vexil, const std::vector<Input>& inputs) {
  std::string command = vexil + " -T " + std::to_string(BUCKET);
  for (const Input& in : inputs) {
    command += " -f " + in.history;
  }
  FILE* pipe = popen(command.c_str(), "r");
  std::string out;
  char buffer[65536];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
    out.append(buffer, n);
  }
  pclose(pipe);
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: soak VEXIL WORKDIR [inputs] [lines/s] [seconds] [idle]\n");
    return 2;
  }
  const std::string vexil = argv[1], work = argv[2];
  const int count = argc > 3 ? std::atoi(argv[3]) : 16;
  const int rate = argc > 4 ? std::atoi(argv[4]) : 200;
  const int seconds = argc > 5 ? std::atoi(argv[5]) : 60;
  const int idle = argc > 6 ? std::atoi(argv[6]) : 60;
  const int max_lag = argc > 7 ? std::atoi(argv[7]) : -1;
  std::filesystem::remove_all(work);
  std::filesystem::create_directories(work);

  std::vector<Input> inputs(count);
  std::vector<std::string> args{vexil, "-t", "-T", std::to_string(BUCKET)};
  if (max_lag >= 0) {
    args.insert(args.end(), {"--max-lag", std::to_string(max_lag)});
  }
  // More options for vexil, separated by spaces (bench/metrics.sh: --metrics-listen).
  if (const char* more = std::getenv("SOAK_VEXIL_ARGS")) {
    std::istringstream words(more);
    for (std::string word; words >> word;) {
      args.push_back(word);
    }
  }
  for (int i = 0; i < count; ++i) {
    inputs[i].path = work + "/in" + std::to_string(i) + ".csv";
    inputs[i].history = inputs[i].path + ".all";
    inputs[i].log.open(inputs[i].history);
    open_new(inputs[i]);
    append(inputs[i], sample(START, i));
    args.insert(args.end(), {"-f", inputs[i].path});
  }

  int out[2];
  if (pipe(out) != 0) {
    return 1;
  }
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(out[1], 1);
    close(out[0]);
    const int err = ::open((work + "/vexil.err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(err, 2);
    std::vector<char*> argv_child;
    for (std::string& a : args) {
      argv_child.push_back(a.data());
    }
    argv_child.push_back(nullptr);
    execv(vexil.c_str(), argv_child.data());
    _exit(127);
  }
  close(out[1]);

  // vexil's output, each line stamped on arrival.
  std::vector<std::pair<Clock::time_point, std::string>> lines;
  std::thread reader([&] {
    FILE* in = fdopen(out[0], "r");
    char* line = nullptr;
    std::size_t capacity = 0;
    for (ssize_t n; (n = getline(&line, &capacity, in)) > 0;) {
      lines.emplace_back(Clock::now(), std::string(line, static_cast<std::size_t>(n)));
    }
    std::free(line);
    std::fclose(in);
  });

  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  const long long idle_start = cpu_ticks(pid);
  std::this_thread::sleep_for(std::chrono::seconds(idle));
  const double idle_share =
      idle > 0 ? static_cast<double>(cpu_ticks(pid) - idle_start) / sysconf(_SC_CLK_TCK) / idle
               : 0.0;
  const long peak_start = status_kib(pid, "VmHWM");

  // Line k (sample time START + k) goes to every input at tick k; written[k] is when it was
  // on all of them. Inputs 0..3 rotate at a third of the run; the last one is truncated at two
  // thirds, after a pause long enough for vexil to have read all of it.
  const long long ticks = static_cast<long long>(rate) * seconds;
  std::vector<Clock::time_point> written(static_cast<std::size_t>(ticks) + 2);
  const auto step = std::chrono::nanoseconds(1'000'000'000LL / rate);
  const long long busy_start = cpu_ticks(pid), server_start = server_ticks(pid);
  const auto begin = Clock::now();
  Input& truncated = inputs.back();
  const long long truncate_at = 2 * ticks / 3, pause = rate / 5 + 1;
  std::string held;
  // The input that stops (with a lag limit): silent from stop_at for STOP ticks, then the rows of
  // its first BACKLOG silent ticks, late, before the row of the tick it resumes at.
  constexpr long long STOP = 600, BACKLOG = 20;
  Input* stopped = max_lag >= 0 ? &inputs[static_cast<std::size_t>(count / 2)] : nullptr;
  const long long stop_at = ticks / 2;
  std::string backlog;
  for (long long k = 1; k <= ticks; ++k) {
    std::this_thread::sleep_until(begin + k * step);
    if (k == ticks / 3) {
      for (int i = 0; i < std::min(4, count - 1); ++i) {
        std::filesystem::rename(inputs[i].path, inputs[i].path + ".1");
        open_new(inputs[i]);
      }
    }
    if (k == truncate_at + pause && ftruncate(truncated.fd, 0) != 0) {
      return 1;
    }
    for (Input& in : inputs) {
      const std::string line = sample(START + k, static_cast<int>(&in - inputs.data()));
      if (&in == stopped && k >= stop_at && k < stop_at + STOP) {
        backlog += k < stop_at + BACKLOG ? line : "";
      } else if (&in == stopped && k == stop_at + STOP) {
        append(in, std::exchange(backlog, "") + line);
      } else if (&in == &truncated && k >= truncate_at && k < truncate_at + pause) {
        held += line;  // written at once after the truncation, so no input falls behind
      } else {
        append(in, &in == &truncated ? std::exchange(held, "") + line : line);
      }
    }
    written[static_cast<std::size_t>(k)] = Clock::now();
  }
  const double busy_time = seconds_since(begin);
  const double busy_share =
      static_cast<double>(cpu_ticks(pid) - busy_start) / sysconf(_SC_CLK_TCK) / busy_time;
  const double server_share =
      static_cast<double>(server_ticks(pid) - server_start) / sysconf(_SC_CLK_TCK) / busy_time;
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const long peak_end = status_kib(pid, "VmHWM"), rss_end = status_kib(pid, "VmRSS");
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  reader.join();

  std::vector<double> latency_ms;
  std::string followed;
  for (const auto& [when, line] : lines) {
    followed += line;
    const long long end = std::atoll(line.c_str());
    const long long k = end - START;
    if (line[0] != '#' && k >= 1 && k <= ticks
        && !(k >= truncate_at && k < truncate_at + pause + BUCKET)
        && !(stopped && k >= stop_at && k <= stop_at + STOP + max_lag + BUCKET)) {
      latency_ms.push_back(
          std::chrono::duration<double, std::milli>(when - written[static_cast<std::size_t>(k)])
              .count());
    }
  }
  std::sort(latency_ms.begin(), latency_ms.end());
  auto percentile = [&](double p) {
    return latency_ms.empty() ? 0.0
                              : latency_ms[static_cast<std::size_t>(p * (latency_ms.size() - 1))];
  };
  for (Input& in : inputs) {
    in.log.close();
  }
  const std::string plain = run_plain(vexil, inputs);
  bool same = !followed.empty() && plain.compare(0, followed.size(), followed) == 0;
  // With a stopped input: the sample time written past each bucket's end when it arrived, whether
  // any bucket came twice (ends not increasing), and the buckets without late rows against the
  // plain merge's.
  long long worst_lag = 0, previous_end = 0, compared = 0;
  bool twice = false;
  if (stopped) {
    std::map<long long, std::string> plain_buckets;
    std::istringstream plain_lines(plain);
    for (std::string line; std::getline(plain_lines, line);) {
      if (line[0] != '#') {
        plain_buckets[std::atoll(line.c_str())] = line + "\n";
      }
    }
    same = !lines.empty();
    for (const auto& [when, line] : lines) {
      if (line[0] == '#') {
        continue;
      }
      const long long end = std::atoll(line.c_str());
      twice = twice || end <= previous_end;
      previous_end = end;
      const auto k_written =
          std::upper_bound(written.begin() + 1, written.end(), when,
                           [](auto t, auto w) { return w == Clock::time_point{} || t < w; })
          - written.begin() - 1;
      worst_lag = std::max(worst_lag, START + k_written - end);
      if (end - START <= stop_at || end - START > stop_at + BACKLOG + BUCKET) {
        same = same && plain_buckets[end] == line;
        ++compared;
      }
    }
    same = same && !twice;
  }
  if (!same) {
    std::ofstream(work + "/followed.out") << followed;
    std::ofstream(work + "/plain.out") << plain;
    std::fprintf(stderr, "outputs kept in %s/followed.out and plain.out\n", work.c_str());
  }

  std::printf("inputs %d, %d lines/s each, %d s (idle %d s before)\n", count, rate, seconds, idle);
  std::printf("cpu share idle    %.3f%%\n", 100 * idle_share);
  std::printf("cpu share busy    %.2f%%\n", 100 * busy_share);
  if (server_start >= 0) {
    std::printf("of it the server  %.2f%%\n", 100 * server_share);
  }
  std::printf("peak rss start    %ld KiB\n", peak_start);
  std::printf("peak rss end      %ld KiB (rss %ld KiB)\n", peak_end, rss_end);
  std::printf("buckets timed     %zu\n", latency_ms.size());
  std::printf("latency ms        median %.2f  p95 %.2f  p99 %.2f  max %.2f\n", percentile(0.5),
              percentile(0.95), percentile(0.99), latency_ms.empty() ? 0 : latency_ms.back());
  if (stopped) {
    std::printf("stopped input     %s, %lld s of sample time from %lld\n", stopped->path.c_str(),
                STOP, START + stop_at);
    std::printf("worst bucket lag  %lld s of sample time past its end (limit %d + bucket %d)\n",
                worst_lag, max_lag, BUCKET);
    std::printf("bucket twice      %s\n", twice ? "YES" : "no");
    std::printf("matches plain     %s (%lld buckets without late rows)\n", same ? "yes" : "NO",
                compared);
    std::ifstream err(work + "/vexil.err");
    for (std::string line; std::getline(err, line);) {
      std::printf("stderr            %s\n", line.c_str());
    }
    return same && worst_lag <= max_lag + BUCKET ? 0 : 1;
  }
  std::printf("matches plain     %s (%zu of %zu bytes)\n", same ? "yes" : "NO", followed.size(),
              plain.size());
  return same ? 0 : 1;
}
