// SPDX-License-Identifier: Apache-2.0
#include "metrics_exposition.h"

#include <array>
#include <charconv>
#include <cmath>
#include <memory>
#include <string_view>
#include <utility>

namespace vexil {

namespace {

// Words of column names written out, and units brought to the base unit (with the factor).
struct Word {
  std::string_view from;
  std::string_view to;
  double scale;
};
constexpr std::array<Word, 27> kWords{{
    {"avg", "average", 1},     {"bits", "bytes", 0.125},   {"cnt", "number", 1},
    {"frag", "fragment", 1},   {"frags", "fragments", 1},  {"gbits", "bytes", 1.25e8},
    {"kbits", "bytes", 125},   {"kbytes", "bytes", 1e3},   {"kpackets", "packets", 1e3},
    {"kpkts", "packets", 1e3}, {"max", "maximum", 1},      {"mbits", "bytes", 1.25e5},
    {"mbytes", "bytes", 1e6},  {"mem", "memory", 1},       {"min", "minimum", 1},
    {"ms", "seconds", 1e-3},   {"msec", "seconds", 1e-3},  {"num", "number", 1},
    {"pct", "ratio", 1e-2},    {"percent", "ratio", 1e-2}, {"pkt", "packet", 1},
    {"pkts", "packets", 1},    {"recv", "received", 1},    {"sec", "second", 1},
    {"secs", "seconds", 1},    {"sys", "system", 1},       {"usr", "user", 1},
}};

bool ends_with(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Suffixes Prometheus gives a meaning of their own.
bool reserved_suffix(std::string_view name) {
  for (std::string_view s : {"_total", "_count", "_sum", "_bucket", "_created", "_info"}) {
    if (ends_with(name, s)) {
      return true;
    }
  }
  return false;
}

std::string number(long double value) {
  const auto v = static_cast<double>(value);
  if (std::isnan(v)) {
    return "NaN";
  }
  if (std::isinf(v)) {
    return v > 0 ? "+Inf" : "-Inf";
  }
  char text[32];
  // Whole numbers in full, as the CSV prints them; others as short as they read back exactly.
  const auto result = std::floor(v) == v && std::fabs(v) < 1e15
                          ? std::to_chars(text, text + sizeof text, v, std::chars_format::fixed)
                          : std::to_chars(text, text + sizeof text, v);
  return {text, result.ptr};
}

// HELP text: a backslash and a line break escaped.
std::string escape_help(std::string_view text) {
  std::string out;
  for (char c : text) {
    if (c == '\\') {
      out.append("\\\\");
    } else if (c == '\n') {
      out.append("\\n");
    } else {
      out.push_back(c);
    }
  }
  return out;
}

// A label value: a double quote escaped as well.
std::string escape_label(std::string_view text) {
  std::string out;
  for (char c : text) {
    if (c == '"') {
      out.append("\\\"");
    } else {
      out.append(escape_help(std::string_view(&c, 1)));
    }
  }
  return out;
}

void write_family(std::string& out, bool openmetrics, const std::string& name, bool counter,
                  std::string_view help) {
  const std::string shown = counter && !openmetrics ? name + "_total" : name;
  out.append("# HELP ").append(shown).append(" ").append(escape_help(help)).append("\n");
  out.append("# TYPE ").append(shown).append(counter ? " counter\n" : " gauge\n");
}

void write_sample(std::string& out, const std::string& name, bool counter, std::string_view labels,
                  long double value) {
  out.append(name).append(counter ? "_total" : "").append(labels).append(" ");
  out.append(number(value)).append("\n");
}

}  // namespace

MetricsExposition::MetricsExposition(std::vector<std::string> engines, int bucket_size)
    : engines(std::move(engines)), bucket_size(bucket_size) {
  for (const char* own_name :
       {"vexil_inputs", "vexil_inputs_lagging", "vexil_rows_read_total",
        "vexil_late_rows_dropped_total", "vexil_last_bucket_end_timestamp_seconds",
        "vexil_bucket_length_seconds", "vexil_build_info", "vexil_build"}) {
    taken.emplace(own_name);
  }
}

std::vector<std::string> MetricsExposition::engine_labels(
    const std::vector<std::string>& paths, const std::vector<std::string>& log_dirs,
    const std::vector<std::string>& supplemental) {
  std::map<std::string, int> uses;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (i < log_dirs.size() && !log_dirs[i].empty()) {
      ++uses[log_dirs[i]];
    }
  }
  std::vector<std::string> labels;
  std::map<std::string, int> given;
  for (std::size_t i = 0; i < paths.size() + supplemental.size(); ++i) {
    const bool own_dir =
        i < paths.size() && i < log_dirs.size() && !log_dirs[i].empty() && uses[log_dirs[i]] == 1;
    std::string label = own_dir            ? log_dirs[i]
                        : i < paths.size() ? paths[i]
                                           : supplemental[i - paths.size()];
    if (const int n = ++given[label]; n > 1) {
      label.append("#").append(std::to_string(n));
    }
    labels.push_back(std::move(label));
  }
  return labels;
}

std::string MetricsExposition::base_name(std::string_view column, double& scale) {
  scale = 1;
  std::string name;
  std::string word;
  auto end_word = [&] {
    if (word.empty()) {
      return;
    }
    std::string_view w = word;
    for (const Word& known : kWords) {
      if (known.from == w) {
        w = known.to;
        scale *= known.scale;
        break;
      }
    }
    name.append(name.empty() ? "" : "_").append(w);
    word.clear();
  };
  for (char c : column) {
    if (c >= 'A' && c <= 'Z') {
      word.push_back(static_cast<char>(c - 'A' + 'a'));
    } else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      word.push_back(c);
    } else {
      end_word();
    }
  }
  end_word();
  return name.empty() ? "column" : name;
}

MetricsExposition::Column& MetricsExposition::column(const perflib::Record& r, std::uint32_t i) {
  const perflib::Field& field = r.context->fields[i];
  const std::string_view key = field.name ? std::string_view(*field.name) : std::string_view();
  if (auto it = by_original.find(key); it != by_original.end()) {
    return columns[it->second];
  }
  Column c;
  c.original = r.printed_name(i);
  c.counter = field.type == perflib::PT_SUM;
  std::string base = base_name(c.original, c.scale);
  if (c.counter && ends_with(base, "_total")) {
    base.resize(base.size() - 6);
  } else if (!c.counter && reserved_suffix(base)) {
    base.append("_value");
  }
  const std::string suffix = c.counter ? "_total" : "";
  for (int n = 1;; ++n) {
    c.name = n == 1 ? base : base + "_" + std::to_string(n);
    const std::string merged = "vexil_" + c.name + suffix;
    const std::string engine = "vexil_engine_" + c.name + suffix;
    if (taken.count(merged) == 0 && taken.count(engine) == 0) {
      taken.insert(merged);
      taken.insert(engine);
      break;
    }
  }
  by_original.emplace(key, columns.size());
  columns.push_back(std::move(c));
  return columns.back();
}

void MetricsExposition::take(Column& c, const perflib::Record& r, std::uint32_t i,
                             long double& into) {
  const long double v = (r.holds_value(i) ? r.value_at(i) : static_cast<long double>(r.count_at(i)))
                        * static_cast<long double>(c.scale);
  into = c.counter ? into + v : v;
}

void MetricsExposition::add_bucket(const Bucket& bucket, perflib::Record& merged) {
  last_end = merged.get_time();
  any_bucket = true;
  ++added;
  const std::uint32_t time_index = merged.get_time_index();
  for (std::uint32_t i = 0; i < merged.pegs.size() && i < merged.context->fields.size(); ++i) {
    if (i != time_index && merged.printed(i)) {
      Column& c = column(merged, i);
      take(c, merged, i, c.merged);
      c.merged_seen = true;
    }
  }
  // Each input's stretches folded as the merge folds them all, in the same order.
  std::map<std::size_t, perflib::RecordPtr> folded;
  for (std::size_t k = 0; k < bucket.records.size() && k < bucket.order.size(); ++k) {
    const std::size_t input = bucket.order[k].input;
    if (input >= engines.size()) {
      continue;
    }
    perflib::RecordPtr& f = folded[input];
    if (!f) {
      f = std::make_shared<perflib::Record>(std::make_shared<perflib::Context>(), nullptr);
    }
    f->multi_instance_accumulate(bucket.records[k]);
  }
  for (const auto& [input, r] : folded) {
    r->collapse();
    const std::uint32_t time = r->get_time_index();
    for (std::uint32_t i = 0; i < r->pegs.size() && i < r->context->fields.size(); ++i) {
      if (i != time && r->printed(i)) {
        Column& c = column(*r, i);
        take(c, *r, i, c.by_engine[input]);
      }
    }
  }
}

std::string MetricsExposition::render(bool openmetrics) const {
  std::string out;
  auto own_figure = [&](const char* name, bool counter, const char* help, long double value) {
    write_family(out, openmetrics, name, counter, help);
    write_sample(out, name, counter, "", value);
  };
  own_figure("vexil_inputs", false, "Inputs being followed.", static_cast<long double>(own.inputs));
  own_figure("vexil_inputs_lagging", false, "Inputs merged without, as they lag (--max-lag).",
             static_cast<long double>(own.inputs_lagging));
  own_figure("vexil_rows_read", true, "Rows read from the inputs.",
             static_cast<long double>(own.rows_read));
  own_figure("vexil_late_rows_dropped", true, "Rows dropped as their bucket was printed already.",
             static_cast<long double>(own.late_rows_dropped));
  if (any_bucket) {
    own_figure("vexil_last_bucket_end_timestamp_seconds", false,
               "End of the last bucket printed, in seconds since the epoch.",
               static_cast<long double>(last_end));
  }
  own_figure("vexil_bucket_length_seconds", false, "Length of a bucket.", bucket_size);
  if (openmetrics) {
    out.append("# HELP vexil_build Version of vexil.\n# TYPE vexil_build info\n");
  } else {
    out.append("# HELP vexil_build_info Version of vexil.\n# TYPE vexil_build_info gauge\n");
  }
  out.append("vexil_build_info{version=\"" VEXIL_VERSION "\"} 1\n");

  for (const Column& c : columns) {
    const std::string help =
        "Column " + c.original
        + (c.counter ? ", summed over the buckets printed." : ", in the last bucket printed.");
    if (c.merged_seen) {
      const std::string name = "vexil_" + c.name;
      write_family(out, openmetrics, name, c.counter, help);
      write_sample(out, name, c.counter, "", c.merged);
    }
    if (!c.by_engine.empty()) {
      const std::string name = "vexil_engine_" + c.name;
      write_family(out, openmetrics, name, c.counter,
                   help.substr(0, help.size() - 1) + ", by engine.");
      for (const auto& [input, value] : c.by_engine) {
        write_sample(out, name, c.counter, "{engine=\"" + escape_label(engines[input]) + "\"}",
                     value);
      }
    }
  }
  if (openmetrics) {
    out.append("# EOF\n");
  }
  return out;
}

}  // namespace vexil
