// SPDX-License-Identifier: Apache-2.0
// Where vexil keeps what makes a later run faster (the window indexes of plain files, see
// LogFile::keep_window_index): $XDG_CACHE_HOME/vexil, or $HOME/.cache/vexil when XDG_CACHE_HOME
// is unset, empty or not an absolute path; created (mode 0700) when missing, and used only when
// it belongs to the user and others may not write to it. The environment variable VEXIL_CACHE
// set to an empty value turns the cache off.
#ifndef VEXIL_CACHE_DIRECTORY_H
#define VEXIL_CACHE_DIRECTORY_H

#include <string>

namespace vexil {

// The directory, or empty when the cache is off or the directory cannot be made.
std::string cache_directory();

}  // namespace vexil

#endif
