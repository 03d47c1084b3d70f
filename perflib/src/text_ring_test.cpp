// SPDX-License-Identifier: Apache-2.0
#include "text_ring.h"

#include <gtest/gtest.h>

namespace perflib {
namespace {

// A ring of 8 bytes through writes and reads that meet the physical end of the ring in every way.
TEST(TextRingTest, RunsStopAtTheEndOfTheRingAndAtTheOtherSide) {
  struct Step {
    char side;  // 'w': the writer wrote n bytes, 'r': the reader took n
    std::size_t n;
    std::size_t unread, write_run, read_run, write_offset, read_offset;
  };
  const Step steps[] = {
      {'w', 0, 0, 8, 0, 0, 0},  // empty: the whole ring is the writer's
      {'w', 5, 5, 3, 5, 5, 0}, {'r', 2, 3, 3, 3, 5, 2},
      {'w', 3, 6, 2, 6, 0, 2},  // the writer reached the end: its next run starts at 0
      {'w', 2, 8, 0, 6, 2, 2},  // full
      {'r', 6, 2, 6, 2, 2, 0},  // the reader reached the end too
      {'r', 1, 1, 6, 1, 2, 1}, {'w', 6, 7, 1, 7, 0, 1},
      {'r', 7, 0, 8, 0, 0, 0},  // empty again, both at offset 0 of the third lap
  };
  TextRing ring(8);
  const unsigned char* base = ring.write_run();
  for (const Step& s : steps) {
    SCOPED_TRACE(testing::Message() << s.side << s.n);
    if (s.side == 'w') {
      ring.wrote(s.n);
    } else {
      ring.consumed(s.n);
    }
    EXPECT_EQ(ring.unread(), s.unread);
    EXPECT_EQ(ring.free(), 8 - s.unread);
    EXPECT_EQ(ring.write_run_size(), s.write_run);
    EXPECT_EQ(ring.read_run_size(), s.read_run);
    EXPECT_EQ(ring.write_run() - base, static_cast<std::ptrdiff_t>(s.write_offset));
    EXPECT_EQ(ring.read_run() - base, static_cast<std::ptrdiff_t>(s.read_offset));
  }
}

}  // namespace
}  // namespace perflib
