// SPDX-License-Identifier: Apache-2.0
// The differential harness: random scenarios of statistics files, merged by the real vexil in
// every way it can read them, each way compared byte for byte (standard output, standard error
// and status) with the plain merge read in turn on one processor:
//   read ahead on a second processor; gzip (also padded with zeros), zstd (also as independent
//   frames and from the parallel compressor) and xz; one file split into a rotated history read
//   with --rotated; --since/--until (also with --strict) against the same window read whole and
//   against the rows cut beforehand, and again with the window indexes the first run made;
//   --strict on well-formed files; CSV against --format tsv and jsonl value for value; -t (and
//   -t --max-lag) over the same files written in steps, one of them perhaps truncated under a
//   writer that does not append, which must have printed after each step exactly the lines of
//   the buckets every input has passed.
// A scenario comes from a seed (or a fuzzer's bytes): its files, written into a directory that
// is kept, with a script of the commands, when a relation fails.
#ifndef TESTS_DIFFERENTIAL_H
#define TESTS_DIFFERENTIAL_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace differential {

// The random choices of a scenario: from a seed, or from a fuzzer's input bytes (zeros past
// their end).
class Choices {
 public:
  explicit Choices(std::uint64_t seed) : rng(seed) {}
  Choices(const std::uint8_t* data, std::size_t size) : bytes(data, data + size), fuzzed(true) {}
  std::uint64_t below(std::uint64_t n) { return n == 0 ? 0 : next() % n; }
  bool chance(unsigned percent) { return below(100) < percent; }

 private:
  std::uint64_t next();
  std::mt19937_64 rng;
  std::vector<std::uint8_t> bytes;
  std::size_t used = 0;
  bool fuzzed = false;
};

struct Line {
  std::string text;  // without its newline
  bool data = false;
  std::int64_t time = 0;      // of a data line: its first cell
  std::int64_t row_time = 0;  // and the time of its row (0 in a layout without a time column)
};

struct File {
  std::string name;
  std::vector<Line> lines;
  bool last_newline = true;
  std::string text(std::size_t from, std::size_t to) const;  // lines [from, to)
  std::string text() const { return text(0, lines.size()); }
};

struct Scenario {
  std::vector<File> files, supplemental;
  int bucket = 300;
  bool well_formed = false;  // every line exactly a statistics line
  bool in_order = false;     // no file's time goes back, every line complete
  bool wildcards = false;    // a column of a thread or processor
  std::int64_t first = 0, last = 0;
  std::vector<std::string> arguments() const;  // -T and the inputs, relative to their directory
};

Scenario generate(Choices& choose);

// Checks every relation that applies to the scenario, in a new directory under dir; returns
// what differed (empty when all held). vexil: the binary under test.
std::vector<std::string> check(const Scenario& s, Choices& choose, const std::string& vexil,
                               const std::string& dir, bool tail);

}  // namespace differential

#endif
