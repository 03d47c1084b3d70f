// SPDX-License-Identifier: Apache-2.0
// Writes benchmark input for vexil: D instance directories, each holding one statistics file of
// the same name, in the current engine's layout (optionally some in the older layout, plus a
// supplemental-drop file).
//
// The output is a pure function of the preset, the options and the seed (log_layout.h says how
// values are made), so every machine writes the same bytes.
//
//   gen_logs [-f files] [-r rows] [-o old_layout_files] [-S seed] [-n name] PRESET OUTDIR
//
// PRESET is small, large, many or mixed; -f, -r and -o override its numbers. Files are written to
// OUTDIR/instNN/NAME (NAME defaults to perf.csv); the mixed preset also writes OUTDIR/sdrops.csv.
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "log_layout.h"

namespace {

using namespace bench;

struct Preset {
  const char* name;
  int files;
  long rows;
  int old_layout_files;  // instances that write the older layout (the last ones)
  bool supplemental;
};

constexpr Preset presets[] = {
    {"small", 4, 2100, 0, false},
    {"large", 16, 62000, 0, false},
    {"many", 64, 15500, 0, false},
    {"mixed", 8, 8000, 2, true},
};

// Buffered writer of one file; numbers are formatted with to_chars.
class Writer {
 public:
  explicit Writer(const std::string& path) : out(std::fopen(path.c_str(), "wb")) {
    if (!out) {
      throw std::runtime_error("cannot create " + path);
    }
    buf.resize(1 << 20);
  }
  ~Writer() {
    if (out) {
      std::fclose(out);  // only after a failure: finish() closes normally
    }
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void text(std::string_view s) {
    room(s.size());
    std::memcpy(buf.data() + used, s.data(), s.size());
    used += s.size();
  }
  void ch(char c) {
    room(1);
    buf[used++] = c;
  }
  void number(std::uint64_t v) {
    room(24);
    used = static_cast<std::size_t>(std::to_chars(buf.data() + used, buf.data() + buf.size(), v).ptr
                                    - buf.data());
  }
  // A real given in thousandths, written with three decimals.
  void milli(std::uint64_t v) {
    number(v / 1000);
    room(4);
    unsigned frac = static_cast<unsigned>(v % 1000);
    buf[used++] = '.';
    buf[used++] = static_cast<char>('0' + frac / 100);
    buf[used++] = static_cast<char>('0' + frac / 10 % 10);
    buf[used++] = static_cast<char>('0' + frac % 10);
  }
  // Writes what is buffered and closes the file; returns the file's size.
  std::uint64_t finish() {
    flush();
    FILE* f = std::exchange(out, nullptr);
    if (std::fclose(f) != 0) {
      throw std::runtime_error("write failed");
    }
    return total;
  }

 private:
  void room(std::size_t n) {
    if (used + n > buf.size()) {
      flush();
    }
  }
  void flush() {
    if (used && std::fwrite(buf.data(), 1, used, out) != used) {
      throw std::runtime_error("write failed");
    }
    total += used;
    used = 0;
  }
  FILE* out;
  std::vector<char> buf;
  std::size_t used = 0;
  std::uint64_t total = 0;
};

std::uint64_t write_current(const std::string& path, int instance, long rows, std::uint64_t seed) {
  Writer w(path);
  current_header(w);
  RowMaker maker(seed, instance);
  std::int64_t t = START_TIME + (instance * 7) % INTERVAL;
  for (long r = 0; r < rows; ++r, t += INTERVAL) {
    current_row(w, maker, t);
  }
  return w.finish();
}

std::uint64_t write_old(const std::string& path, int instance, long rows, std::uint64_t seed) {
  Writer w(path);
  old_header(w);
  RowMaker maker(seed, instance);
  std::int64_t t = START_TIME + (instance * 7) % INTERVAL;
  for (long r = 0; r < rows; ++r, t += INTERVAL) {
    old_row(w, maker, t);
  }
  return w.finish();
}

std::uint64_t write_supplemental(const std::string& path, long rows, std::uint64_t seed) {
  Writer w(path);
  w.text("#time,sdrops\n");
  Rng rng{seed ^ 0x5D0C0FFEEULL};
  std::int64_t t = START_TIME;
  for (long r = 0; r < rows; ++r, t += INTERVAL) {
    w.number(static_cast<std::uint64_t>(t));
    w.ch(',');
    w.number(rng.below(1000) < 200 ? rng.below(500) : 0);
    w.ch('\n');
  }
  return w.finish();
}

[[noreturn]] void usage() {
  std::fputs(
      "usage: gen_logs [-f files] [-r rows] [-o old_layout_files] [-S seed] [-n name] PRESET "
      "OUTDIR\n"
      "  PRESET: small (4 x 2100 rows), large (16 x 62000), many (64 x 15500),\n"
      "          mixed (8 x 8000, the last 2 in the older layout, plus OUTDIR/sdrops.csv)\n",
      stderr);
  std::exit(2);
}

long number_arg(const char* text) {
  char* end = nullptr;
  long v = std::strtol(text, &end, 10);
  if (*text == '\0' || *end != '\0' || v < 0) {
    usage();
  }
  return v;
}

}  // namespace

int main(int argc, char** argv) {
  long files = -1, rows = -1, old_files = -1;
  std::uint64_t seed = 20240601;
  std::string name = "perf.csv";
  int opt;
  while ((opt = getopt(argc, argv, "f:r:o:S:n:")) != -1) {
    switch (opt) {
      case 'f':
        files = number_arg(optarg);
        break;
      case 'r':
        rows = number_arg(optarg);
        break;
      case 'o':
        old_files = number_arg(optarg);
        break;
      case 'S':
        seed = static_cast<std::uint64_t>(number_arg(optarg));
        break;
      case 'n':
        name = optarg;
        break;
      default:
        usage();
    }
  }
  if (argc - optind != 2) {
    usage();
  }
  const Preset* preset = nullptr;
  for (const Preset& p : presets) {
    if (std::string_view(argv[optind]) == p.name) {
      preset = &p;
    }
  }
  if (!preset) {
    usage();
  }
  if (files < 0) {
    files = preset->files;
  }
  if (rows < 0) {
    rows = preset->rows;
  }
  if (old_files < 0) {
    old_files = preset->old_layout_files;
  }
  const std::filesystem::path out = argv[optind + 1];

  try {
    std::uint64_t total = 0;
    for (int i = 0; i < files; ++i) {
      char dir[32];
      std::snprintf(dir, sizeof dir, "inst%02d", i);
      std::filesystem::create_directories(out / dir);
      std::string path = (out / dir / name).string();
      bool old_layout = i >= files - old_files;
      total += old_layout ? write_old(path, i, rows, seed) : write_current(path, i, rows, seed);
    }
    if (preset->supplemental) {
      total += write_supplemental((out / "sdrops.csv").string(), rows, seed);
    }
    std::printf("%s: %ld files x %ld rows, %.1f MB in %s\n", preset->name, files, rows,
                static_cast<double>(total) / 1e6, out.c_str());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "gen_logs: %s\n", e.what());
    return 1;
  }
  return 0;
}
