// SPDX-License-Identifier: Apache-2.0
// A merge keeps every input open at once, so the soft limit of open files (often 1,024) must
// not be what stops a merge of many logs while the hard limit allows more.
#ifndef VEXIL_OPEN_FILE_LIMIT_H
#define VEXIL_OPEN_FILE_LIMIT_H

namespace vexil {

// Raises the soft limit of open files to the hard limit; nothing changes when it cannot.
void raise_open_file_limit();

}  // namespace vexil

#endif
