// SPDX-License-Identifier: Apache-2.0
// --output: vexil opens its output file itself rather than leaving it to whoever starts it. A
// service manager opens a redirection before it makes the service's directories, so the first
// start on a fresh host would fail; opened here, the file is made after them, as the service's
// own user.
#ifndef VEXIL_OUTPUT_FILE_H
#define VEXIL_OUTPUT_FILE_H

#include <string>

namespace vexil {

// Opens path for appending (what earlier runs wrote stays) or creates it with mode 0640 less the
// umask, and puts it in place of standard output, so every write and write check on
// stdout goes to it. Throws std::runtime_error "Unable to open output file: <path>: <reason>".
void open_output_file(const std::string& path);

}  // namespace vexil

#endif
