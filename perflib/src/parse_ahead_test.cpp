// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/parse_ahead.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "test_support.h"

namespace perflib {
namespace {

// While set, every allocation of at least this many bytes fails (see operator new below).
std::atomic<std::size_t> fail_from{0};

// What a reader is handed, record by record: the layout (version, names and kinds) and every
// byte of the values; then how the input ended.
using Next = std::function<RecordPtr()>;

std::string shown(const Record& r) {
  std::string out = "v";
  out += std::to_string(r.context->version);
  for (const Field& f : r.context->fields) {
    out.append(" ").append(*f.name).append(":").append(std::to_string(f.type));
  }
  out += " |";
  for (const Peg& p : r.pegs) {
    unsigned char bytes[sizeof p];
    std::memcpy(bytes, &p, sizeof p);
    out += ' ';
    for (unsigned char b : bytes) {
      out += "0123456789abcdef"[b >> 4];
      out += "0123456789abcdef"[b & 15];
    }
  }
  return out + "\n";
}

// The next record shown, or how the input ended; ended is then set.
std::string step(const Next& next, bool& ended) {
  try {
    if (RecordPtr r = next()) {
      return shown(*r);
    }
    ended = true;
    return "end\n";
  } catch (const std::exception& e) {
    ended = true;
    return std::string("error: ") + e.what() + "\n";
  }
}

std::string trace(const Next& next) {
  std::string out;
  for (bool ended = false; !ended;) {
    out += step(next, ended);
  }
  return out;
}

struct Input {
  const char* what;
  std::string text;
};

std::vector<Input> inputs() {
  std::string rows;
  for (int i = 0; i < 150; ++i) {
    rows += std::to_string(1000 + i) + "," + std::to_string(i * 7) + "," + std::to_string(i) + "\n";
  }
  std::string wide = "#time";  // a header line longer than a batch's text
  for (int i = 0; i < 12000; ++i) {
    wide += ",u" + std::to_string(i);
  }
  return {
      {"layouts changing within and across batches",
       "#time,a,b\n" + rows.substr(0, 200) + "#time,a,b,c\n1,2,3,4\n#time\n#timestamp,x\n5,6\n"
           + rows},
      {"rows before any header", "5,6\n7,8\n#time,x\n9,1\n"},
      {"header lines in a row, past a batch's text and at the end",
       "#time,a\n1,2\n#time,b\n#time,a,b\n3,4,5\n" + wide + "\n6,7,8\n9\n#time,c\n#time,d\n"},
      {"cells missing, empty and past the layout", "#time,a,b\n1\n2,3,4,5,6\n,,3,,4\n\n7,x1,-2\n"},
      {"more cells than the layout after it gained a column",
       "#time,a\n1,1\n2,2\n3,3\n4,4\n5,5\n6,6,66\n7,7,77,777\n"},
      {"an empty layout ends the input", "#time,a\n1,2\n#\n3,4\n"},
      {"reals", "#time,pkt_drop_percent,n\n1,0.5,2\n2,1e3,3.5\n3,-0.25,nan\n"},
      {"lines longer than a batch's text", "#time,a,b\n1,2," + std::string(50000, '7') + "\n2,3,"
                                               + std::string(70000, '8') + "\n3,4,5\n"},
      {"a last line without its newline and a NUL in a line",
       std::string("#time,a\n1,2") + '\0' + ",9\n3,4\n5,6"},
      {"a line over the limit after rows",
       "#time,a\n1,2\n3,4\n" + std::string((std::size_t{16} << 20) + 1, '9') + "\n5,6\n"},
  };
}

TEST(ParseAheadTest, HandsOutWhatTheFileReaderWould) {
  test_support::TempDir dir;
  for (const Input& input : inputs()) {
    const std::string path = dir.write("in.csv", input.text);
    LogFile plain(path, false);
    const std::string expected = trace([&] { return plain.read_next(); });
    for (unsigned helpers : {1u, 2u}) {
      for (unsigned rows : {1u, 2u, 3u, 64u}) {
        SCOPED_TRACE(std::string(input.what) + ", " + std::to_string(helpers) + " helpers, "
                     + std::to_string(rows) + " rows a batch");
        ParseAhead ahead(helpers);
        LogFile file(path, false);
        std::unique_ptr<ParseAhead::Input> in = ahead.read(file, rows);
        EXPECT_EQ(trace([&] { return in->read_next(); }), expected);
        EXPECT_EQ(file.get_prev_time(), plain.get_prev_time());
      }
    }
  }
}

// Memory running out while a file is read ahead ends its input with an error that names it,
// after the rows before, whichever thread was reading it.
TEST(ParseAheadTest, RunningOutOfMemoryEndsTheInput) {
  test_support::TempDir dir;
  const std::string path =
      dir.write("in.csv", "#time,a\n1,2\n3," + std::string(std::size_t{4} << 20, '7') + "\n5,6\n");
  LogFile plain(path, false);
  const std::string expected =
      shown(*plain.read_next()) + "error: " + path + ": out of memory while reading ahead\n";
  for (unsigned rows : {1u, 64u}) {
    ParseAhead ahead(1);
    LogFile file(path, false);
    std::unique_ptr<ParseAhead::Input> in = ahead.read(file, rows);
    fail_from = std::size_t{1} << 20;  // the line needs more
    const std::string got = trace([&] { return in->read_next(); });
    fail_from = 0;
    EXPECT_EQ(got, expected) << rows << " rows a batch";
  }
}

}  // namespace
}  // namespace perflib

void* operator new(std::size_t size) {
  const std::size_t limit = perflib::fail_from.load(std::memory_order_relaxed);
  if (limit != 0 && size >= limit) {
    throw std::bad_alloc();
  }
  if (void* p = std::malloc(size == 0 ? 1 : size)) {
    return p;
  }
  throw std::bad_alloc();
}

// Not inlined: the compiler would take the free of a pointer from new for a mismatch.
[[gnu::noinline]] void operator delete(void* p) noexcept {
  std::free(p);
}

[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
