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
