#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace vexil {

TerminalKind picture_kind(const std::string& path) {
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

void text_size(Terminal& terminal, int min_lines) {
  winsize size{};
  if (isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    terminal.width = size.ws_col;
    terminal.height = std::max<int>(size.ws_row - 1, min_lines);
  } else {
    terminal.width = 120;
    terminal.height = min_lines;
  }
}

}  // namespace

Terminal make_terminal(const std::string& path, int width, int height, int min_text_lines) {
  Terminal terminal{path.empty() ? TK_TEXT : picture_kind(path), width, height};
  if (width > 0) {
    return terminal;
  }
  if (terminal.kind == TK_TEXT) {
    text_size(terminal, min_text_lines);
  } else {
    terminal.width = 1600;
    terminal.height = 1000;
  }
  return terminal;
}

}  // namespace vexil
