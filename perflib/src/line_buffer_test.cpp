// SPDX-License-Identifier: Apache-2.0
#include "line_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace perflib {
namespace {

// Text fed in pieces of many sizes (across the block size and the growth of the buffer) splits
// into the same lines as the whole text does, and the recent bytes are always the text's own.
TEST(LineBufferTest, SplitsLikeTheWholeTextWhateverThePiecesAndRemembersTheRecentBytes) {
  std::string text;
  for (std::size_t length : {0, 1, 63, 64, 65, 1000, 131071, 131072, 131073, 300000, 5}) {
    text += std::string(length, static_cast<char>('a' + length % 26)) + "\n";
  }
  text += "last line without its end";
  std::vector<std::string> expected;
  for (std::size_t at = 0, stop; at < text.size(); at = stop + 1) {
    stop = std::min(text.find('\n', at), text.size());
    expected.push_back(text.substr(at, stop - at));
  }
  const std::size_t block = LineBuffer::BLOCK_SIZE;
  for (std::size_t piece : {std::size_t{1}, std::size_t{977}, block - 1, block, block + 1}) {
    SCOPED_TRACE(piece);
    LineBuffer buffer("in");
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size() || buffer.has_rest();) {
      std::size_t length;
      char* line = buffer.next_line(length);
      if (line == nullptr && at == text.size()) {
        line = buffer.rest(length);
      }
      if (line != nullptr) {
        EXPECT_EQ(std::strlen(line), length - (at == text.size() && !buffer.has_rest() ? 0 : 1));
        lines.emplace_back(line);
        continue;
      }
      const std::size_t n = std::min({piece, buffer.room_size(), text.size() - at});
      text.copy(buffer.room(), n, at);
      const std::string_view recent = buffer.recent();
      ASSERT_EQ(recent, std::string_view(text).substr(at - recent.size(), recent.size()));
      ASSERT_EQ(recent.size(), std::min(at, LineBuffer::RECENT_SIZE));
      buffer.added(n);
      at += n;
    }
    EXPECT_EQ(lines, expected);
  }
}

}  // namespace
}  // namespace perflib
