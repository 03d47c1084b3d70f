// SPDX-License-Identifier: Apache-2.0
#include "cache_directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace vexil {

namespace {

bool made(const std::string& path) {
  return mkdir(path.c_str(), 0700) == 0 || errno == EEXIST;
}

}  // namespace

std::string cache_directory() {
  const char* off = std::getenv("VEXIL_CACHE");
  if (off != nullptr && *off == '\0') {
    return {};
  }
  std::string base;
  if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg != nullptr && xdg[0] == '/') {
    base = xdg;
  } else if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') {
    base = std::string(home).append("/.cache");
  } else {
    return {};
  }
  std::string directory = base;
  directory.append("/vexil");
  // Only a directory of this user's that no one else may write to: what is in it is trusted.
  struct stat status;
  if (!made(base) || !made(directory) || stat(directory.c_str(), &status) != 0
      || !S_ISDIR(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & 022) != 0) {
    return {};
  }
  return directory;
}

}  // namespace vexil
