// SPDX-License-Identifier: Apache-2.0
// Where the chart goes and at what size: a picture file whose extension names the format, or
// text on standard output.
#ifndef VEXIL_PLOT_TERMINAL_H
#define VEXIL_PLOT_TERMINAL_H

#include <cstdint>
#include <string>

namespace vexil {

enum TerminalKind : std::uint8_t { TK_TEXT, TK_PNG, TK_SVG, TK_PDF };

struct Terminal {
  TerminalKind kind = TK_TEXT;
  int width = 0;   // pixels (a PDF takes 100 to the inch), or characters for text
  int height = 0;  // pixels, or lines for text
};

// The picture format that the extension of path names. Throws std::runtime_error for an
// extension it does not know.
TerminalKind picture_kind(const std::string& path);

// The terminal for -o path ("" for text) and panels panels, at the size asked for. 0 x 0 asks
// for the default: 1600x1000 pixels (higher for many panels), or for text the size of the
// terminal on standard output when there is one, less a line for the prompt. Throws
// std::runtime_error for an extension it does not know or a size too small for the panels.
Terminal make_terminal(const std::string& path, int width, int height, int panels);

}  // namespace vexil

#endif
