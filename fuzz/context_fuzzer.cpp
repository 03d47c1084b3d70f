// SPDX-License-Identifier: Apache-2.0
// A header line into a Context, checked against a reading of the same line with strtok: one
// field per token, the layout from the tokens, repeated names suffixed, every name indexed at its
// last position, the width of the longest label. The same line parsed twice gives equal contexts,
// and a data line in the layout gets one peg per field; it goes through the minimum, maximum and
// average accumulations, the report and the formatted block.
#include <algorithm>
#include <map>
#include <memory>

#include "fuzz_support.h"
#include "perflib"

namespace {

void check_context(const perflib::Context& c, const char* line) {
  if (line[0] != '\0' && line[1] == '#') {
    FUZZ_CHECK(c.version == perflib::LV_NONE && c.fields.empty() && c.index.empty());
    return;
  }
  const std::vector<std::string> tokens = fuzz::reference_tokens(line[0] == '\0' ? line : line + 1);
  const auto has = [&](const char* name) {
    return std::find(tokens.begin(), tokens.end(), name) != tokens.end();
  };
  FUZZ_CHECK(c.version
             == (has("sdrops")             ? perflib::LV_SDROP
                 : has("pkt_drop_percent") ? perflib::LV_TRELK_2
                                           : perflib::LV_TRELK_3));
  FUZZ_CHECK(c.fields.size() == tokens.size());
  std::map<std::string, std::uint32_t> last_position;
  for (std::uint32_t i = 0; i < tokens.size(); ++i) {
    last_position[last_position.count(tokens[i]) ? tokens[i] + "_DUPLICATE" : tokens[i]] = i;
  }
  FUZZ_CHECK(c.index.size() == last_position.size());
  for (const auto& [key, position] : last_position) {
    FUZZ_CHECK(c.find(key) == position);
  }
  std::uint32_t width = 0;
  for (const perflib::Field& f : c.fields) {
    FUZZ_CHECK(f.name != nullptr && f.label != nullptr);
    width = std::max(width, static_cast<std::uint32_t>(f.label->size()));
  }
  FUZZ_CHECK(c.width == width);
  FUZZ_CHECK(c.time_index() == c.find(c.version == perflib::LV_TRELK_3 ? "timestamp" : "time"));
}

}  // namespace

FUZZ_TARGET(text) {
  fuzz::Line line(text), original(text), again(text), data_line(text);
  auto context = std::make_shared<perflib::Context>(line.get());
  check_context(*context, original.get());
  FUZZ_CHECK(perflib::Context(again.get()) == *context);
  auto record = std::make_shared<perflib::Record>(context, data_line.get());
  FUZZ_CHECK(context->fields.empty() || record->get_pegs().size() == context->fields.size());
  record->print_csv_header(fuzz::null_output(), nullptr);
  record->print_csv(fuzz::null_output());
  perflib::RecordPtr lo = record->copy(), hi = record->copy(), average = record->copy();
  lo->min_accumulate(record);
  hi->max_accumulate(record);
  average->average_accumulate(record);
  average->collapse();
  perflib::print_report(fuzz::null_output(), average, lo, hi);
  average->print_formatted(fuzz::null_output(), true);
}
