// SPDX-License-Identifier: Apache-2.0
// Whatever form vexil printed its merge in (CSV, TSV, JSON Lines; times in epoch seconds or
// ISO 8601 UTC), as the CSV with epoch times that perflib's LogFile reads.
//
// JSON Lines: each object becomes a data line, with a header line of its keys before it when
// they differ from those of the line before. A string value in ISO 8601 UTC is the time in epoch
// seconds, null and any other non-number an empty field; in a key, a comma or a line break
// becomes '_' (a CSV header could not hold it). In CSV and TSV every field of the exact form
// 2023-11-14T22:20:00Z becomes epoch seconds; when the first line holds a tab, the input is TSV
// and its tabs become commas.
#ifndef VEXIL_PLOT_INPUT_TEXT_H
#define VEXIL_PLOT_INPUT_TEXT_H

#include <string>
#include <string_view>

namespace vexil {

// Throws std::runtime_error naming the line for a JSON line that is not an object of scalars.
std::string as_epoch_csv(std::string_view text);

}  // namespace vexil

#endif
