// A header line into a Context. Besides the sanitizers, the result is checked against a reading
// of the same line with strtok: one field per token, the layout from the tokens, repeated names
// suffixed, every name indexed at its last position, the width of the longest label. The same
// line parsed twice gives equal contexts, and a data line in the layout gets one peg per field.
#include <algorithm>
#include <map>
#include <memory>

#include "fuzz_support.h"
#include "perflib"

namespace {

using perflib::Context;

std::uint8_t reference_version(const std::vector<std::string>& tokens) {
  auto has = [&](const char* name) {
    return std::find(tokens.begin(), tokens.end(), name) != tokens.end();
  };
  return has("sdrops")             ? perflib::LV_SDROP
         : has("pkt_drop_percent") ? perflib::LV_TRELK_2
                                   : perflib::LV_TRELK_3;
}

void check_context(const Context& c, const char* line) {
  if (line[0] != '\0' && line[1] == '#') {
    FUZZ_CHECK(c.version == perflib::LV_NONE && c.fields.empty() && c.index.empty());
    return;
  }
  const std::vector<std::string> tokens = fuzz::reference_tokens(line[0] == '\0' ? line : line + 1);
  FUZZ_CHECK(c.version == reference_version(tokens));
  FUZZ_CHECK(c.fields.size() == tokens.size());

  std::map<std::string, std::uint32_t> last_position;
  for (std::uint32_t i = 0; i < tokens.size(); ++i) {
    std::string key = tokens[i];
    if (last_position.count(key) != 0) {
      key += "_DUPLICATE";
    }
    last_position[key] = i;
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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = fuzz::as_text(data, size);
  try {
    fuzz::Line line(text);
    auto context = std::make_shared<Context>(line.get());
    fuzz::Line original(text);
    check_context(*context, original.get());

    fuzz::Line again(text);
    FUZZ_CHECK(Context(again.get()) == *context);

    fuzz::Line data_line(text);
    auto record = std::make_shared<perflib::Record>(context, data_line.get());
    FUZZ_CHECK(context->fields.empty() || record->get_pegs().size() == context->fields.size());
    record->print_csv_header(fuzz::null_output(), nullptr);
    record->print_csv(fuzz::null_output());
  } catch (const std::logic_error& e) {
    if (!fuzz::is_instance_number_error(e)) {
      throw;
    }
  }
  return 0;
}
