// SPDX-License-Identifier: Apache-2.0
// Following a growing file at its end, the way `tail -F` does: telling a file that grew from one
// that was truncated in place or replaced under its path, and sleeping until something changes.
//
// Waiting uses one inotify instance for the whole process, with a watch on each followed file and
// on its directory (where a file is created or renamed into place). Where a watch cannot be set up
// (no inotify, a file system that does not report changes, too many watches), the follower polls
// instead, sleeping 1 ms at first and backing off to 200 ms while nothing changes. Even with a
// watch it looks again every half second, so a change that was never reported is still seen.
#ifndef PERFLIB_SRC_FILE_FOLLOWER_H
#define PERFLIB_SRC_FILE_FOLLOWER_H

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace perflib {

class FileFollower {
 public:
  // What the reader does next, at the end of its open file.
  enum Action {
    FA_READ,    // the open file has more (it grew while it was looked at): read again
    FA_REOPEN,  // the path names another file now and the open one is read to its end
    FA_REWIND,  // the open file is shorter than what was read: start again from its top
    FA_WAIT,    // nothing new: call wait()
  };

  // path empty: a stream that was handed over, followed without reopening.
  FileFollower(const std::string& path, FILE* file);
  ~FileFollower();
  FileFollower(const FileFollower&) = delete;
  FileFollower& operator=(const FileFollower&) = delete;

  // position: where the reader is in the open file.
  Action at_end(FILE* file, off_t position) const;
  // Whether the file was truncated and written again before the reader read just_read bytes at
  // its position: the bytes before them are no longer before, the text the reader read there.
  bool rewritten(FILE* file, off_t position, std::string_view before, std::size_t just_read) const;
  // Returns when the file or its path may have changed.
  void wait(off_t position);
  // Returns when any of followers' files or paths may have changed, or after timeout_ms (at most
  // the recheck interval; where a file has no watch, at most the longest poll delay).
  static void wait_any(const std::vector<FileFollower*>& followers, int timeout_ms);
  // The reader switched to a newly opened file.
  void watch(FILE* file);

 private:
  void unwatch();

  std::string path;
  std::string directory;
  std::string base_name;  // the path's last component: the name directory events carry
  int file_watch = -1;
  int directory_watch = -1;
  long long last_position = -1;  // where the previous wait started
  int poll_delay_ms = 0;
  bool regular_file = false;  // the open file
};

}  // namespace perflib

#endif
