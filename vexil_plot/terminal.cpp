// SPDX-License-Identifier: Apache-2.0
#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

namespace vexil {

TerminalKind picture_kind(const std::string& path) {
  if (std::any_of(path.begin(), path.end(),
                  [](char c) { return static_cast<unsigned char>(c) < 0x20; })) {
    throw std::runtime_error("the picture's name holds a control character: " + path);
  }
  const std::size_t dot = path.rfind('.');
  const std::string extension = dot == std::string::npos ? "" : path.substr(dot);
  if (extension == ".png") {
    return TK_PNG;
  }
  if (extension == ".svg") {
    return TK_SVG;
  }
  if (extension == ".pdf") {
    return TK_PDF;
  }
  throw std::runtime_error("the picture's name must end in .png, .svg or .pdf: " + path);
}

namespace {

// The smallest size at which panels panels still fit, with room for their labels. A text chart
// goes on as many pages of its height as it needs: a page holds at least a line for the title,
// one for the time labels, and a panel's heading and five lines.
Terminal smallest(TerminalKind kind, int panels) {
  return kind == TK_TEXT ? Terminal{kind, 40, 8} : Terminal{kind, 400, 130 + 60 * panels};
}

// A positive number of at most 5 digits in the environment variable name, or 0.
int environment_size(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0' || std::strlen(value) > 5
      || std::strspn(value, "0123456789") != std::strlen(value)) {
    return 0;
  }
  return std::atoi(value);
}

Terminal default_size(TerminalKind kind, int panels) {
  const Terminal least = smallest(kind, panels);
  if (kind != TK_TEXT) {
    return Terminal{kind, 1600, std::max(1000, least.height)};
  }
  // The terminal's own size when standard output is one; else COLUMNS and LINES, as the shell
  // sets them for a pipe; else 80x24. One line is left for the prompt that follows.
  int columns = 0, lines = 0;
  winsize size{};
  if (isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0
      && size.ws_row > 0) {
    columns = size.ws_col;
    lines = size.ws_row;
  } else {
    columns = environment_size("COLUMNS");
    lines = environment_size("LINES");
  }
  columns = columns > 0 ? columns : 80;
  lines = lines > 0 ? lines : 24;
  return Terminal{kind, std::max(columns, least.width), std::max(lines - 1, least.height)};
}

}  // namespace

Terminal make_terminal(const std::string& path, int width, int height, int panels) {
  const TerminalKind kind = path.empty() ? TK_TEXT : picture_kind(path);
  if (width == 0) {
    return default_size(kind, panels);
  }
  const Terminal least = smallest(kind, panels);
  if (width < least.width || height < least.height) {
    throw std::runtime_error("the size " + std::to_string(width) + "x" + std::to_string(height)
                             + " is too small for " + std::to_string(panels) + " panels; at least "
                             + std::to_string(least.width) + "x" + std::to_string(least.height));
  }
  return Terminal{kind, width, height};
}

}  // namespace vexil
