// SPDX-License-Identifier: Apache-2.0
// Micro-benchmarks of the merge's hot paths on realistic rows (the same columns and values as the
// benchmark logs): parsing a data line into a Record, the two accumulations on one context,
// combining one bucket's records as a Bucket does, parsing a header into a Context, and
// BucketMap::flush_ready over many inputs.
//
// Lines are tokenised in place, so each iteration first copies its line into a scratch buffer;
// the copy is a few percent of a parse.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bucket_map.h"
#include "log_layout.h"
#include "perflib"
#include "vexil_file.h"

namespace {

using perflib::Context;
using perflib::Record;
using perflib::RecordPtr;

struct StringOut {
  std::string s;
  void text(std::string_view v) { s += v; }
  void ch(char c) { s += c; }
  void number(std::uint64_t v) {
    char b[24];
    s.append(b, std::to_chars(b, b + sizeof b, v).ptr);
  }
  void milli(std::uint64_t v) {
    number(v / 1000);
    char frac[5];
    std::snprintf(frac, sizeof frac, ".%03u", static_cast<unsigned>(v % 1000));
    s += frac;
  }
};

// A header and rows of one instance, every line ending in a newline as read from a file.
struct Sample {
  std::string header;
  std::vector<std::string> rows;
};

Sample make_sample(bool old_layout, int rows, int instance = 0) {
  Sample sample;
  StringOut h;
  old_layout ? bench::old_header(h) : bench::current_header(h);
  sample.header = h.s;
  bench::RowMaker maker(1, instance);
  for (int i = 0; i < rows; ++i) {
    StringOut r;
    std::int64_t t = bench::START_TIME + i * bench::INTERVAL;
    old_layout ? bench::old_row(r, maker, t) : bench::current_row(r, maker, t);
    sample.rows.push_back(r.s);
  }
  return sample;
}

// A writable copy of a line, reused across iterations.
class Scratch {
 public:
  char* copy(const std::string& line) {
    buf.assign(line.begin(), line.end());
    buf.push_back('\0');
    return buf.data();
  }

 private:
  std::vector<char> buf;
};

std::shared_ptr<Context> context_of(const std::string& header) {
  Scratch scratch;
  return std::make_shared<Context>(scratch.copy(header));
}

void parse_rows(benchmark::State& state, bool old_layout) {
  const Sample sample = make_sample(old_layout, 64);
  const auto context = context_of(sample.header);
  Scratch scratch;
  std::size_t i = 0;
  std::int64_t bytes = 0;
  for (auto _ : state) {
    const std::string& row = sample.rows[i++ % sample.rows.size()];
    auto record = std::make_shared<Record>(context, scratch.copy(row));
    benchmark::DoNotOptimize(record->pegs.data());
    bytes += static_cast<std::int64_t>(row.size());
  }
  state.SetBytesProcessed(bytes);
  state.SetItemsProcessed(state.iterations());
}

void BM_RecordFromLine(benchmark::State& state) {
  parse_rows(state, false);
}
void BM_RecordFromOldLine(benchmark::State& state) {
  parse_rows(state, true);
}
BENCHMARK(BM_RecordFromLine);
BENCHMARK(BM_RecordFromOldLine);

// Two records of one context; the receiver keeps accumulating (sums wrap, which is harmless).
template <bool Multi>
void BM_Accumulate(benchmark::State& state) {
  const Sample sample = make_sample(false, 2);
  const auto context = context_of(sample.header);
  Scratch scratch;
  auto into = std::make_shared<Record>(context, scratch.copy(sample.rows[0]));
  const auto other = std::make_shared<Record>(context, scratch.copy(sample.rows[1]));
  for (auto _ : state) {
    if constexpr (Multi) {
      into->multi_instance_accumulate(other);
    } else {
      into->single_instance_accumulate(other);
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Accumulate<false>)->Name("BM_SingleInstanceAccumulate");
BENCHMARK(BM_Accumulate<true>)->Name("BM_MultiInstanceAccumulate");

// What a bucket does when it prints, short of the output: a fresh record accumulates the
// collapsed records of N inputs, each read under its own (equal) context, and collapses.
void BM_BucketCombine(benchmark::State& state) {
  const auto inputs = static_cast<int>(state.range(0));
  std::vector<RecordPtr> records;
  for (int i = 0; i < inputs; ++i) {
    const Sample sample = make_sample(false, 1, i);
    Scratch scratch;
    records.push_back(
        std::make_shared<Record>(context_of(sample.header), scratch.copy(sample.rows[0])));
    records.back()->collapse();
  }
  for (auto _ : state) {
    auto output = std::make_shared<Record>(std::make_shared<Context>(), nullptr);
    for (const RecordPtr& r : records) {
      output->multi_instance_accumulate(r);
    }
    output->collapse();
    benchmark::DoNotOptimize(output->pegs.data());
  }
  state.SetItemsProcessed(state.iterations() * inputs);
}
BENCHMARK(BM_BucketCombine)->Arg(4)->Arg(16)->Arg(64);

// Every header parsed with a known column adds per-thread calc plans to a global list; they are
// dropped between iterations so the list does not grow with the iteration count.
void parse_header(benchmark::State& state, bool old_layout) {
  const Sample sample = make_sample(old_layout, 0);
  Scratch scratch;
  const std::size_t plans = perflib::calc_plans.size();
  for (auto _ : state) {
    Context context(scratch.copy(sample.header));
    benchmark::DoNotOptimize(context.fields.data());
    state.PauseTiming();
    perflib::calc_plans.erase(perflib::calc_plans.begin() + static_cast<std::ptrdiff_t>(plans),
                              perflib::calc_plans.end());
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(sample.header.size()));
}

void BM_ContextFromHeader(benchmark::State& state) {
  parse_header(state, false);
}
void BM_ContextFromOldHeader(benchmark::State& state) {
  parse_header(state, true);
}
BENCHMARK(BM_ContextFromHeader);
BENCHMARK(BM_ContextFromOldHeader);

// N inputs, each positioned on its first row by bucket_next(). Every input but the last is past
// the oldest bucket, so deciding that it is incomplete looks at every input.
class FlushFixture {
 public:
  explicit FlushFixture(int inputs) {
    char pattern[] = "/tmp/vexil_micro_bench.XXXXXX";
    if (!::mkdtemp(pattern)) {
      throw std::runtime_error("mkdtemp failed");
    }
    dir = pattern;
    StringOut header;
    bench::current_header(header);
    bench::RowMaker maker(1, 0);
    for (int i = 0; i < inputs; ++i) {
      StringOut row;
      bool last = i + 1 == inputs;
      bench::current_row(row, maker, bench::START_TIME + (last ? 0 : 600));
      const std::string path = dir / ("input" + std::to_string(i) + ".csv");
      std::ofstream(path) << header.s << row.s;
      files.push_back(vexil::make_file(path, false, map));
      files.back()->bucket_next();
    }
  }
  ~FlushFixture() {
    // The buckets print when the inputs hand in their rows; send that to nowhere.
    for (auto& [start, bucket] : map.buckets) {
      bucket->out = devnull.get();
    }
    files.clear();
    supplemental.clear();
    std::filesystem::remove_all(dir);
  }
  FlushFixture(const FlushFixture&) = delete;
  FlushFixture& operator=(const FlushFixture&) = delete;

  std::unique_ptr<FILE, int (*)(FILE*)> devnull{std::fopen("/dev/null", "w"), &std::fclose};
  RecordPtr last_printed;
  vexil::BucketMap map{vexil::make_bucket, 300, last_printed};
  vexil::BucketMap::Files files;
  vexil::BucketMap::Files supplemental;
  std::filesystem::path dir;
};

void BM_FlushReadyNothingReady(benchmark::State& state) {
  FlushFixture f(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    f.map.flush_ready(f.files, f.supplemental, false);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FlushReadyNothingReady)->Arg(16)->Arg(64)->Arg(256);

// Each iteration adds one (empty) bucket that every input has passed; flush_ready removes it and
// stops at the incomplete one after it.
void BM_FlushReadyOneBucket(benchmark::State& state) {
  FlushFixture f(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    f.map[bench::START_TIME - 3000];
    f.map.flush_ready(f.files, f.supplemental, false);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FlushReadyOneBucket)->Arg(16)->Arg(64)->Arg(256);

}  // namespace

BENCHMARK_MAIN();
