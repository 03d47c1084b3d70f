// SPDX-License-Identifier: Apache-2.0
#include "file_follower.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <unordered_set>

namespace perflib {

namespace {

constexpr int RECHECK_MS = 500;
constexpr int MAX_POLL_DELAY_MS = 200;
constexpr std::uint32_t FILE_EVENTS = IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF;
constexpr std::uint32_t DIRECTORY_EVENTS = IN_CREATE | IN_MOVED_TO | IN_ONLYDIR;

// The process's one inotify instance (a user may only have a few). Followers of the same file or
// directory share one watch in the kernel; the counts say when the last of them lets it go.
class Inotify {
 public:
  static Inotify& instance() {
    static Inotify* inotify = new Inotify;  // never destroyed: readers may outlive static objects
    return *inotify;
  }

  // The watch descriptor, or -1 when there is none.
  int add(const std::string& path, std::uint32_t mask) {
    std::lock_guard<std::mutex> lock(mutex);
    const int watch = fd < 0 ? -1 : inotify_add_watch(fd, path.c_str(), mask);
    if (watch >= 0) {
      ++users[watch];
    }
    return watch;
  }

  void remove(int watch) {
    std::lock_guard<std::mutex> lock(mutex);
    auto it = users.find(watch);
    if (it != users.end() && --it->second == 0) {
      users.erase(it);
      inotify_rm_watch(fd, watch);  // fails harmlessly when the file is already gone
    }
  }

  // Returns at the first event that wanted(event) accepts (or a queue overflow), or after
  // timeout_ms. Other events are dropped: their readers look at their files before they wait, so
  // nothing they announced can be missed.
  template <class Wanted>
  void wait(const Wanted& wanted, int timeout_ms) {
    using Clock = std::chrono::steady_clock;
    const auto until = Clock::now() + std::chrono::milliseconds(timeout_ms);
    alignas(inotify_event) char buffer[8192];
    for (;;) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
      pollfd ready{fd, POLLIN, 0};
      if (left <= 0 || (poll(&ready, 1, static_cast<int>(left)) < 0 && errno != EINTR)) {
        return;
      }
      const ssize_t length = read(fd, buffer, sizeof buffer);
      for (ssize_t at = 0; at < length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
        if ((event->mask & IN_Q_OVERFLOW) != 0 || wanted(*event)) {
          return;
        }
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      }
    }
  }

 private:
  Inotify() : fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

  int fd;
  std::mutex mutex;
  std::unordered_map<int, int> users;
};

}  // namespace

FileFollower::FileFollower(const std::string& path, FILE* file) : path(path) {
  if (!path.empty()) {
    const std::size_t slash = path.find_last_of('/');
    directory = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    base_name = slash == std::string::npos ? path : path.substr(slash + 1);
    directory_watch = Inotify::instance().add(directory, DIRECTORY_EVENTS);
  }
  watch(file);
}

FileFollower::~FileFollower() {
  unwatch();
  if (directory_watch >= 0) {
    Inotify::instance().remove(directory_watch);
  }
}

void FileFollower::watch(FILE* file) {
  unwatch();
  // Through the descriptor, so the watch is on the file that is open even if the path has
  // already moved on; by the path where /proc is not mounted.
  const std::string open_file = "/proc/self/fd/" + std::to_string(fileno(file));
  file_watch = Inotify::instance().add(open_file, FILE_EVENTS);
  if (file_watch < 0 && !path.empty()) {
    file_watch = Inotify::instance().add(path, FILE_EVENTS);
  }
  last_position = -1;
  struct stat status;
  regular_file = fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode);
}

void FileFollower::unwatch() {
  if (file_watch >= 0) {
    Inotify::instance().remove(file_watch);
    file_watch = -1;
  }
}

FileFollower::Action FileFollower::at_end(FILE* file, off_t position) const {
  struct stat open_file;
  if (fstat(fileno(file), &open_file) != 0) {
    return FA_WAIT;
  }
  if (S_ISREG(open_file.st_mode) && position >= 0) {
    if (open_file.st_size > position) {
      return FA_READ;
    }
    if (open_file.st_size < position) {
      return FA_REWIND;
    }
  }
  struct stat named;
  if (!path.empty() && stat(path.c_str(), &named) == 0
      && (named.st_ino != open_file.st_ino || named.st_dev != open_file.st_dev)) {
    return FA_REOPEN;
  }
  return FA_WAIT;  // also while the path names nothing: a new file may yet appear there
}

bool FileFollower::rewritten(FILE* file, off_t position, std::string_view before,
                             std::size_t just_read) const {
  if (!regular_file || before.empty()) {
    return false;  // a pipe or device has no past to compare; nothing read before
  }
  const off_t from = position - static_cast<off_t>(just_read + before.size());
  if (from < 0) {
    return false;
  }
  std::string now(before.size(), '\0');
  const ssize_t n = pread(fileno(file), now.data(), now.size(), from);
  return n != static_cast<ssize_t>(now.size()) || now != before;
}

void FileFollower::wait(off_t position) {
  if (file_watch >= 0) {
    Inotify::instance().wait(
        [this](const inotify_event& event) {
          return event.wd == file_watch
                 || (event.wd == directory_watch && event.len > 0 && base_name == event.name);
        },
        RECHECK_MS);
    return;
  }
  poll_delay_ms = position == last_position ? std::min(2 * poll_delay_ms, MAX_POLL_DELAY_MS) : 1;
  last_position = position;
  std::this_thread::sleep_for(std::chrono::milliseconds(poll_delay_ms));
}

void FileFollower::wait_any(const std::vector<FileFollower*>& followers, int timeout_ms) {
  std::unordered_set<int> files, directories;
  bool unwatched = false;
  for (const FileFollower* f : followers) {
    files.insert(f->file_watch);
    directories.insert(f->directory_watch);
    unwatched = unwatched || f->file_watch < 0;
  }
  if (unwatched) {  // a file without a watch is looked at again after a short sleep
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min(timeout_ms, MAX_POLL_DELAY_MS)));
    return;
  }
  Inotify::instance().wait(
      [&](const inotify_event& event) {
        if (files.count(event.wd) != 0) {
          return true;
        }
        if (event.len == 0 || directories.count(event.wd) == 0) {
          return false;
        }
        return std::any_of(followers.begin(), followers.end(), [&](const FileFollower* f) {
          return f->directory_watch == event.wd && f->base_name == event.name;
        });
      },
      std::min(timeout_ms, RECHECK_MS));
}

}  // namespace perflib
