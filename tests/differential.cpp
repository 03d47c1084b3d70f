// SPDX-License-Identifier: Apache-2.0
#include "differential.h"

#include <fcntl.h>
#include <lzma.h>
#include <sched.h>
#include <unistd.h>
#define ZLIB_CONST  // next_in points to const bytes
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "process.h"

namespace differential {

namespace fs = std::filesystem;

std::uint64_t Choices::next() {
  if (!fuzzed) {
    return rng();
  }
  std::uint64_t v = 0;
  for (int i = 0; i < 2; ++i) {
    v = v << 8 | (used < bytes.size() ? bytes[used++] : 0);
  }
  return v;
}

std::string File::text(std::size_t from, std::size_t to) const {
  std::string t;
  for (std::size_t i = from; i < to; ++i) {
    t += lines[i].text;
    if (i + 1 < lines.size() || last_newline) {
      t += '\n';
    }
  }
  return t;
}

std::vector<std::string> Scenario::arguments() const {
  std::vector<std::string> a{"-T", std::to_string(bucket)};
  for (const File& f : files) {
    a.insert(a.end(), {"-f", f.name});
  }
  for (const File& f : supplemental) {
    a.insert(a.end(), {"-s", f.name});
  }
  return a;
}

namespace {

template <std::size_t N>
const char* pick(Choices& c, const char* const (&from)[N]) {
  return from[c.below(N)];
}

// Columns of the current and of the older layout; "N" is an instance number.
// clang-format off
const char* const current_columns[] = {
    "daq.received", "daq.dropped", "stream_tcp.max", "stream_tcp.sessions", "x",
    "stats.pkt_drop_percent", "thread_N.cpu_user", "stats.usr[N]", "y", "daq.received",
    "stream_ip.max_frags", "thread_N.cpu_wall"};
const char* const older_columns[] = {"pkts_recv", "pkts_drop", "max_sessions", "usr[N]",
                                     "total_sessions", "x", "sys[N]", "alerts_per_second"};
// clang-format on

bool wildcards = false;  // of the scenario being made

std::string instance(Choices& c, std::string name, bool well_formed) {
  if (const auto at = name.find('N'); at != std::string::npos) {
    wildcards = true;
    // Rarely an instance that is not a number: the run aborts, the same way on every path.
    name.replace(at, 1, !well_formed && c.chance(1) ? "x" : std::to_string(c.below(4)));
  }
  return name;
}

std::vector<std::string> header(Choices& c, bool well_formed) {
  const bool older = c.chance(30);
  std::vector<std::string> names{older ? "time" : "timestamp"};
  if (older) {
    names.emplace_back("pkt_drop_percent");
  }
  for (std::uint64_t n = 1 + c.below(4); n > 0; --n) {
    names.push_back(
        instance(c, older ? pick(c, older_columns) : pick(c, current_columns), well_formed));
  }
  if (!older && c.chance(15)) {
    std::swap(names[0], names[1 + c.below(names.size() - 1)]);  // time not in the first column
  }
  return names;
}

std::string join(const std::vector<std::string>& cells) {
  std::string t;
  for (const std::string& cell : cells) {
    t.append(t.empty() ? "" : ",").append(cell);
  }
  return t;
}

// An empty cell only after the time: the cells after an empty one move up by one.
std::string cell(Choices& c, bool well_formed, bool after_time) {
  if (!well_formed && c.chance(4)) {
    const char* const odd[] = {"abc", "-3",  "1e3",  "18446744073709551616", " 7", "0x10",
                               "nan", "2.5", "-0.5", "18446744073709551615", ""};
    return odd[c.below(std::size(odd) - (after_time ? 0 : 1))];
  }
  return std::to_string(c.chance(10) ? c.below(1000000000) : c.below(1000));
}

// Rows from start every rate seconds, with gaps, header changes, odd lines and (unless in order)
// time going back.
File statistics_file(Choices& c, const std::string& name, std::int64_t start, bool well_formed,
                     bool in_order) {
  File f{name, {}, true};
  const std::uint64_t shape = c.below(1000);
  if (shape < 50) {
    return f;  // empty
  }
  std::vector<std::string> names = header(c, well_formed);
  f.lines.push_back({"#" + join(names)});
  if (shape < 100) {
    return f;  // a header only
  }
  // Mostly a few rows; some across the read-ahead batches, a few across the reader's and the
  // window search's blocks (of 64 KiB and 1 MiB) and the decompressing reader's ring (1 MiB).
  const std::uint64_t rows = shape < 850   ? c.below(60)
                             : shape < 970 ? 100 + c.below(600)
                             : shape < 995 ? 3000 + c.below(3000)
                                           : 25000 + c.below(20000);
  const std::int64_t rate = std::vector<std::int64_t>{1, 10, 30, 60, 90}[c.below(5)];
  std::int64_t t = start;
  for (std::uint64_t r = 0; r < rows; ++r) {
    if (c.chance(2)) {
      names = header(c, well_formed);
      f.lines.push_back({"#" + join(names)});
    }
    if (!in_order && c.chance(2)) {
      // A header of no columns: the rows after it have no time (0) until the next header.
      f.lines.push_back({c.chance(50) ? "##" : "#"});
      names.assign(names.size(), "-");
    }
    t += rate;
    if (c.chance(3)) {
      t += rate * static_cast<std::int64_t>(c.below(50));  // a gap: the engine was down
    }
    if (!in_order && c.chance(3)) {
      t -= static_cast<std::int64_t>(c.below(3000));
    }
    const auto at = std::find_if(names.begin(), names.end(), [](const std::string& n) {
      return n == "timestamp" || n == "time";
    });
    const std::size_t time_at = static_cast<std::size_t>(at - names.begin());
    std::size_t count = names.size();
    if (!well_formed && c.chance(3)) {
      count = std::max(std::min(time_at, names.size()) + 1, c.below(names.size() + 2));
    }
    std::vector<std::string> cells;
    for (std::size_t i = 0; i < count; ++i) {
      // The time, also in the first cell (where the window looks for it) when it is elsewhere.
      cells.push_back(i == time_at || i == 0 ? std::to_string(t)
                                             : cell(c, well_formed, i > time_at));
    }
    f.lines.push_back({join(cells), true, t, time_at < names.size() ? t : 0});
  }
  f.last_newline = in_order || !c.chance(5);
  return f;
}

File supplemental_file(Choices& c, std::int64_t start, bool well_formed) {
  File f{"sdrops.csv", {}, true};
  if (!well_formed && c.chance(30)) {
    // Without a header: read in the supplemental layout all the same.
  } else {
    f.lines.push_back({"#time,sdrops"});
  }
  const std::int64_t rate = c.chance(50) ? 60 : 300;
  for (std::uint64_t r = c.below(30), t = static_cast<std::uint64_t>(start); r > 0; --r) {
    t += static_cast<std::uint64_t>(rate);
    f.lines.push_back({std::to_string(t) + "," + std::to_string(c.below(50)), true,
                       static_cast<std::int64_t>(t), static_cast<std::int64_t>(t)});
  }
  return f;
}

}  // namespace

Scenario generate(Choices& c) {
  Scenario s;
  wildcards = false;
  s.well_formed = c.chance(40);
  s.in_order = s.well_formed || c.chance(50);
  s.bucket = std::vector<int>{1, 7, 60, 300, 3600}[c.below(5)];
  const std::int64_t base = 1700000000 + static_cast<std::int64_t>(c.below(1000));
  for (std::uint64_t n = 1 + c.below(3), i = 0; i < n; ++i) {
    s.files.push_back(statistics_file(c, std::string("e").append(std::to_string(i)).append(".csv"),
                                      base + static_cast<std::int64_t>(c.below(600)), s.well_formed,
                                      s.in_order));
  }
  if (c.chance(30)) {
    s.supplemental.push_back(supplemental_file(c, base, s.well_formed));
  }
  s.wildcards = wildcards;
  s.first = base;
  s.last = base;
  for (const std::vector<File>* files : {&s.files, &s.supplemental}) {
    for (const File& f : *files) {
      for (const Line& l : f.lines) {
        s.last = std::max(s.last, l.data ? l.time : s.last);
      }
    }
  }
  // Sometimes a last row stamped far in the future (a clock gone wrong), after the span.
  File& f = s.files[c.below(s.files.size())];
  if (s.in_order && !f.lines.empty() && f.lines.back().data && c.chance(25)) {
    Line stray = f.lines.back();
    const std::string t = std::to_string(stray.time), future = "4102444800";
    for (std::size_t at; (at = stray.text.find(t)) != std::string::npos;) {
      stray.text.replace(at, t.size(), future);
    }
    stray.time = std::stoll(future);
    stray.row_time = stray.row_time != 0 ? stray.time : 0;
    f.lines.push_back(stray);
  }
  return s;
}

namespace {

struct Result {
  int status = -1;
  std::string out, err;
  bool operator==(const Result&) const = default;
};

using test_support::slurp;

void write(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

// Runs program with args in dir (TZ=UTC), reading ahead or not; "0" also keeps it to one
// processor.
Result run(const std::string& dir, const std::string& program, const std::vector<std::string>& args,
           const char* read_ahead = "0") {
  const test_support::RunResult r = test_support::run(program, args, dir, [read_ahead] {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    return setenv("VEXIL_READ_AHEAD", read_ahead, 1) == 0
           && (read_ahead[0] != '0' || sched_setaffinity(0, sizeof one, &one) == 0);
  });
  return {r.status, r.out, r.err};
}

// The scenario's files in dir, each through change (its text, the file; "" leaves it out).
template <class Change>
void write_files(const Scenario& s, const std::string& dir, Change change) {
  fs::create_directories(dir);
  for (const std::vector<File>* files : {&s.files, &s.supplemental}) {
    for (const File& f : *files) {
      change(f, dir + "/" + f.name);
    }
  }
}

std::string shell_words(const std::vector<std::string>& args) {
  std::string t;
  for (const std::string& a : args) {
    t += " '" + a + "'";
  }
  return t;
}

std::string gzip(const std::string& text) {
  z_stream z{};
  deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);  // gzip
  std::string out(deflateBound(&z, text.size()), '\0');
  z.next_in = reinterpret_cast<const Bytef*>(text.data());
  z.avail_in = static_cast<uInt>(text.size());
  z.next_out = reinterpret_cast<Bytef*>(out.data());
  z.avail_out = static_cast<uInt>(out.size());
  deflate(&z, Z_FINISH);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

// A frame for every piece of the text (one for no text).
std::string zstd(const std::string& text, std::size_t piece) {
  std::string out;
  std::size_t at = 0;
  do {
    const std::size_t n = std::min(piece, text.size() - at), used = out.size();
    out.resize(used + ZSTD_compressBound(n));
    out.resize(used + ZSTD_compress(out.data() + used, out.size() - used, text.data() + at, n, 3));
    at += n;
  } while (at < text.size());
  return out;
}

std::string xz(const std::string& text) {
  std::string out(lzma_stream_buffer_bound(text.size()), '\0');
  std::size_t used = 0;
  lzma_easy_buffer_encode(0, LZMA_CHECK_CRC64, nullptr,
                          reinterpret_cast<const std::uint8_t*>(text.data()), text.size(),
                          reinterpret_cast<std::uint8_t*>(out.data()), &used, out.size());
  out.resize(used);
  return out;
}

// The merged lines as "names values" (comma-separated) from CSV, TSV or JSON Lines (j), every
// value that is not finite as nan: JSON has null for nan, -nan, inf and -inf alike. A CSV row
// that its header does not name (a layout grown in place) is "? values".
std::vector<std::string> values(const std::string& text, char form) {
  std::vector<std::string> rows;
  std::string names;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (form == 'j') {  // {"a":1,"b":2.5}: names hold no quote, comma or colon
      std::string cells;
      names = "#";
      for (std::size_t at = line.find('"'), end, value_end;
           at != std::string::npos && (end = line.find('"', at + 1)) != std::string::npos
           && (value_end = line.find_first_of(",}", end)) != std::string::npos;  // else aborted
           at = line.find('"', value_end)) {
        names.append(names.size() > 1 ? "," : "").append(line, at + 1, end - at - 1);
        cells.append(cells.empty() ? "" : ",").append(line, end + 2, value_end - end - 2);
      }
      line = cells;
    } else {
      std::replace(line.begin(), line.end(), form, ',');
    }
    for (const char* word : {"-nan", "-inf", "inf", "null"}) {
      for (std::size_t at; (at = line.find(word)) != std::string::npos;) {
        line.replace(at, std::string(word).size(), "nan");
      }
    }
    if (line.starts_with("#")) {
      names = line;
    } else {
      const bool named =
          std::count(line.begin(), line.end(), ',') == std::count(names.begin(), names.end(), ',');
      rows.push_back((named ? names : "?") + " " + line);
    }
  }
  return rows;
}

// The rows of CSV and of another form hold the same values under the same names (where CSV's
// header names its row).
bool same_values(const std::vector<std::string>& csv, const std::vector<std::string>& other) {
  return std::equal(csv.begin(), csv.end(), other.begin(), other.end(),
                    [](const std::string& a, const std::string& b) {
                      return a == b || (a.starts_with("? ") && b.ends_with(a.substr(1)));
                    });
}

// A line of each file split off as its rotated predecessor, where the row after the split is
// later than the row before it and the line before is a row (so its layout carries over).
bool write_rotated(const Scenario& s, const std::string& dir, Choices& c) {
  bool split = false;
  write_files(s, dir, [&](const File& f, const std::string& path) {
    std::vector<std::size_t> at;
    for (std::size_t i = 1; i < f.lines.size(); ++i) {
      if (f.lines[i - 1].data && f.lines[i].data && f.lines[i].row_time > f.lines[i - 1].row_time) {
        at.push_back(i);
      }
    }
    if (at.empty() || f.name == "sdrops.csv") {
      write(path, f.text());
      return;
    }
    const std::size_t i = at[c.below(at.size())];
    write(path + ".1", f.text(0, i));
    write(path, f.text(i, f.lines.size()));
    split = true;
  });
  return split;
}

// What the merge printed that -t prints once every input's file reaches the time reached: the
// lines up to the last bucket that ends at or before it (a header only with its line).
std::string printed_by(const std::string& merged, std::int64_t reached) {
  std::string kept, header;
  std::size_t time_at = 0;  // the column of the bucket's time
  std::istringstream in(merged);
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("#")) {
      header += line + "\n";
      std::istringstream names(line.substr(1));
      time_at = 0;
      for (std::string name;
           std::getline(names, name, ',') && name != "timestamp" && name != "time";) {
        ++time_at;
      }
      continue;
    }
    std::size_t at = 0;
    for (std::size_t i = 0; i < time_at; ++i) {
      at = line.find(',', at) + 1;
    }
    if (std::strtoll(line.c_str() + at, nullptr, 10) > reached) {
      break;
    }
    kept += header + line + "\n";
    header.clear();
  }
  return kept;
}

// -t over the files written in three steps, each to a common time: after each, the lines of the
// buckets every input has passed, no more and no less.
std::string check_tail(const Scenario& s, const std::string& dir, const std::string& vexil,
                       const std::string& merged, std::vector<std::string> args, Choices& c) {
  write_files(s, dir, [](const File&, const std::string& path) { write(path, ""); });
  test_support::Spawned tail(vexil, args, dir);
  std::string out, problem;
  std::vector<std::size_t> written(s.files.size(), 0);
  const std::int64_t span = s.last - s.first + 1;
  std::vector<std::int64_t> latest(s.files.size(), INT64_MIN);
  // Before step 2, once lines were printed, the input furthest behind (read to its end) may be
  // copied aside and truncated under a writer that does not append: its next write lands at its
  // old offset, after a hole.
  const bool copytruncate = c.chance(50);
  for (int step = 1; step <= 3 && problem.empty(); ++step) {
    const std::int64_t cut = step == 3 ? INT64_MAX : s.first + span * step / 3;
    const std::size_t behind = std::min_element(latest.begin(), latest.end()) - latest.begin();
    for (std::size_t i = 0; i < s.files.size(); ++i) {
      const File& f = s.files[i];
      std::size_t end = written[i];
      while (end < f.lines.size() && !(f.lines[end].data && f.lines[end].time >= cut)) {
        latest[i] = f.lines[end].data ? f.lines[end].time : latest[i];
        ++end;
      }
      const std::string path = dir + "/" + f.name, text = f.text(written[i], end);
      if (step == 2 && copytruncate && i == behind && !out.empty() && !text.empty()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the sweep ends
        const off_t size = static_cast<off_t>(fs::file_size(path));
        const int fd = open(path.c_str(), O_WRONLY | O_TRUNC);
        if (fd < 0
            || pwrite(fd, text.data(), text.size(), size) != static_cast<ssize_t>(text.size())) {
          problem = "could not rewrite " + path;
        }
        close(fd);
      } else {
        std::ofstream(path, std::ios::app) << text;
      }
      written[i] = end;
    }
    const std::int64_t reached = *std::min_element(latest.begin(), latest.end());
    // Until the expected lines are there (and 30 ms more after the last step), 5 s at most.
    const std::string expected = printed_by(merged, reached);
    out = tail.read(expected.size(), std::chrono::seconds(5));
    out = step < 3 ? out : tail.read(SIZE_MAX, std::chrono::milliseconds(30));
    if (out != expected) {
      problem =
          "after step " + std::to_string(step) + " printed\n" + out + "instead of\n" + expected;
    }
  }
  const std::string err = slurp(dir + "/.stderr");
  if (problem.empty() && !err.empty()) {
    problem = "stderr: " + err;
  }
  return problem;
}

}  // namespace

std::vector<std::string> check(const Scenario& s, Choices& c, const std::string& vexil,
                               const std::string& dir, bool tail) {
  std::vector<std::string> failed;
  std::string script = "# each relation: its command in its directory, compared with plain/\n";
  const std::vector<std::string> args = s.arguments();
  const std::string plain = dir + "/plain";
  write_files(s, plain, [](const File& f, const std::string& path) { write(path, f.text()); });
  const Result merged = run(plain, vexil, args);
  script += "(cd plain && VEXIL_READ_AHEAD=0 vexil" + shell_words(args) + ")\n";
  const auto compare = [&](const std::string& name, const std::string& sub,
                           const std::vector<std::string>& a, const Result& r,
                           const Result& expected, bool whole = true) {
    script += "(cd " + sub + " && vexil" + shell_words(a) + ")  # " + name + "\n";
    // An abort loses what standard output still buffered: after one, only the same abort counts
    // where the lines before it may differ in length.
    const bool aborted = expected.status >= 128 && !whole;
    if (aborted ? r.status != expected.status || r.err != expected.err : !(r == expected)) {
      failed.push_back(name + " (" + dir + "/" + sub + "): status " + std::to_string(r.status)
                       + " instead of " + std::to_string(expected.status) + "\n" + r.err + r.out
                       + "\ninstead of\n" + expected.err + expected.out);
    }
  };
  compare("read ahead", "plain", args, run(plain, vexil, args, "1"), merged);

  // Compressed here (pzstd, whose files open with a skippable frame, by the tool).
  const std::pair<const char*, std::string (*)(const std::string&)> compressors[] = {
      {"gzip", [](const std::string& t) { return gzip(t); }},
      {"gzip-padded", [](const std::string& t) { return gzip(t) + std::string(1000, '\0'); }},
      {"zstd", [](const std::string& t) { return zstd(t, t.size()); }},
      {"zstd-frames", [](const std::string& t) { return zstd(t, 1000); }},  // flushed often
      {"xz", xz},
      {"pzstd", nullptr}};
  for (const auto& compressor : compressors) {
    const std::string name = compressor.first;
    const auto compress = compressor.second;
    const std::string sub = dir + "/" + name;
    write_files(s, sub, [&](const File& f, const std::string& path) {
      if (compress != nullptr) {
        write(path, compress(f.text()));
        return;
      }
      write(path + ".txt", f.text());
      const std::string cmd = "pzstd -q -p 2 -c '" + path + ".txt' >'" + path + "'";
      if (std::system(cmd.c_str()) != 0) {
        failed.push_back(cmd + " failed");
      }
      fs::remove(path + ".txt");
    });
    compare(name, name, args, run(sub, vexil, args), merged);
  }

  // Read at start for their order, rotated predecessors make the per-thread and per-processor
  // columns of their first layouts known before the merge in turn would: those are named
  // otherwise.
  if (!s.wildcards && write_rotated(s, dir + "/rotated", c)) {
    std::vector<std::string> a = args;
    a.insert(a.begin(), "--rotated");
    compare("--rotated", "rotated", a, run(dir + "/rotated", vexil, a), merged);
  }

  {
    // A plain file's window is found by a search (and its index kept in plain/.cache); a
    // compressed one is read whole, row by row.
    // Rows passed over still make the per-thread and per-processor columns of their layout known
    // (as they would without a window), so the rows cut beforehand are the reference only for
    // scenarios without such columns.
    const std::int64_t span = s.last - s.first + 2 * s.bucket;
    const std::int64_t since = s.first - s.bucket + static_cast<std::int64_t>(c.below(span));
    const std::int64_t until = since + static_cast<std::int64_t>(c.below(span));
    std::vector<std::string> a = args;
    a.insert(a.begin(), {"--since", std::to_string(since), "--until", std::to_string(until)});
    const Result windowed = run(plain, vexil, a);
    // Again: the plain files' window indexes the run before made are used (the files have not
    // changed since), and print the same.
    compare("--since/--until again", "plain", a, run(plain, vexil, a), windowed);
    compare("--since/--until read whole", "plain", a, windowed, run(dir + "/gzip", vexil, a));
    if (s.well_formed) {
      std::vector<std::string> strict = a;
      strict.insert(strict.begin(), "--strict");
      compare("--strict --since/--until", "plain", strict, run(plain, vexil, strict), windowed);
    }
    if (!s.wildcards) {
      write_files(s, dir + "/cut", [&](const File& f, const std::string& path) {
        File kept{f.name, {}, f.last_newline};
        bool no_columns = false;  // a row under a header of no columns ends the input
        for (const Line& l : f.lines) {
          const auto in = [&](std::int64_t t) { return t >= since && t < until; };
          if (l.data && no_columns) {
            kept.lines.push_back(l);
            break;
          }
          if (!l.data || (in(l.time) && in(l.row_time))) {
            kept.lines.push_back(l);
          }
          no_columns = l.data ? no_columns : l.text == "#" || l.text == "##";
        }
        write(path, kept.text());
      });
      compare("--since/--until", "plain", a, windowed, run(dir + "/cut", vexil, args), false);
    }
  }

  if (s.well_formed) {
    std::vector<std::string> a = args;
    a.insert(a.begin(), "--strict");
    compare("--strict", "plain", a, run(plain, vexil, a), merged);
  }

  for (const char* format : {"tsv", "jsonl"}) {
    std::vector<std::string> a = args;
    a.insert(a.begin(), {"--format", format});
    Result r = run(plain, vexil, a);
    script += "(cd plain && vexil" + shell_words(a) + ")  # --format\n";
    if (r.status != merged.status || r.err != merged.err
        || (merged.status < 128
            && !same_values(values(merged.out, ','),
                            values(r.out, format[0] == 't' ? '\t' : 'j')))) {
      failed.push_back(std::string("--format ") + format + " (" + dir + "/plain): status "
                       + std::to_string(r.status) + "\n" + r.err + r.out);
    }
  }

  // -t reads by time where the merge reads row by row in turn: the per-thread and per-processor
  // columns of a layout become known in another order, which names them otherwise.
  if (tail && s.in_order && !s.wildcards && s.supplemental.empty() && merged.status == 0
      && merged.err.empty()) {
    std::vector<std::string> a = args;
    a.insert(a.begin(), "-t");
    if (c.chance(50)) {
      a.insert(a.begin(), {"--max-lag", "1000000000"});
    }
    script += "# " + shell_words(a) + " over the files written in three steps\n";
    const std::string problem = check_tail(s, dir + "/tail", vexil, merged.out, a, c);
    if (!problem.empty()) {
      failed.push_back(shell_words(a) + " (" + dir + "/tail): " + problem);
    }
  }
  write(dir + "/commands", script);
  return failed;
}

}  // namespace differential
