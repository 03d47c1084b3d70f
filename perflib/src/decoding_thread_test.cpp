// SPDX-License-Identifier: Apache-2.0
#include "decoding_thread.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

namespace perflib {
namespace {

// Copies its input as text, then runs out of memory.
class FailingDecoder : public StreamDecoder {
 public:
  void decode(DecodeBuffers& b, bool /*input_ended*/) override {
    if (b.in_size == 0) {
      throw std::bad_alloc();
    }
    const std::size_t n = std::min(b.in_size, b.out_size);
    std::memcpy(b.out, b.in, n);
    b.in += n;
    b.in_size -= n;
    b.out += n;
    b.out_size -= n;
  }
  bool at_end() const override { return false; }
};

// Memory running out on the decoding thread does not end the process: the reader gets the text
// decoded before, then a read error whose reason says so.
TEST(DecodingThreadTest, OutOfMemoryIsTheReadError) {
  char text[] = "#timestamp,n\n100,1\n";
  DecodingThread decoding(FilePtr(fmemopen(text, sizeof text - 1, "r")),
                          std::make_unique<FailingDecoder>(),
                          reinterpret_cast<const unsigned char*>(""), 0);
  std::string got;
  char buffer[64];
  ssize_t n;
  while ((n = decoding.read(buffer, sizeof buffer)) > 0) {
    got.append(buffer, static_cast<std::size_t>(n));
  }
  EXPECT_EQ(got, text);
  EXPECT_EQ(n, -1);
  EXPECT_EQ(decoding.error(), "out of memory");
}

}  // namespace
}  // namespace perflib
