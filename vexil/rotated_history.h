// SPDX-License-Identifier: Apache-2.0
// The rotated predecessors of a statistics file (--rotated): the files beside it that log
// rotation left, named PATH.N (numbered) or PATH-DATE (dated), with or without a compression
// suffix. They are read before the file itself, oldest first, as the same input.
#ifndef VEXIL_ROTATED_HISTORY_H
#define VEXIL_ROTATED_HISTORY_H

#include <string>
#include <vector>

namespace vexil {

// Whether name is a rotated predecessor's name of the file called base: base, then "." and
// digits or "-" and a digit followed by digits and dashes, then nothing or ".gz", ".zst", ".xz".
bool is_rotated_name(const std::string& name, const std::string& base);

// The predecessors of path, oldest first: ordered by the time of their first row (names can lie
// after a copy), names breaking ties; files without a row first. Throws std::runtime_error
// "Unable to open file: PATH" for one that cannot be opened.
std::vector<std::string> rotated_predecessors(const std::string& path);

}  // namespace vexil

#endif
