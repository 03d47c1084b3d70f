// SPDX-License-Identifier: Apache-2.0
#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
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

// The smallest size at which panels panels still fit, with room for their labels.
Terminal smallest(TerminalKind kind, int panels) {
  return kind == TK_TEXT ? Terminal{kind, 40, 5 + 8 * panels}
                         : Terminal{kind, 400, 130 + 60 * panels};
}

Terminal default_size(TerminalKind kind, int panels) {
  const Terminal least = smallest(kind, panels);
  if (kind != TK_TEXT) {
    return Terminal{kind, 1600, std::max(1000, least.height)};
  }
  const int lines = 5 + 12 * panels;  // a readable text panel needs about 12 lines
  winsize size{};
  if (isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return Terminal{kind, std::max<int>(size.ws_col, least.width),
                    std::max(size.ws_row - 1, lines)};
  }
  return Terminal{kind, 120, lines};
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
