// SPDX-License-Identifier: Apache-2.0
#include "gnuplot_script.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <ctime>
#include <iterator>
#include <vector>

#include "point_reducer.h"

namespace vexil {

namespace {

// Space around the panels, in pixels for pictures and in characters for text.
struct Metrics {
  double title;        // above the first panel
  double heading;      // above each panel, for its heading
  double gap;          // below each panel but the last, for its tics
  double bottom;       // below the last panel: time labels
  double left;         // y labels and their tics
  double key;          // the legend, right of the panels
  double key_gap;      // between the panels and the legend
  std::size_t points;  // at most this many rows are drawn with point marks too
};

std::size_t longest_label(const Chart& chart) {
  std::size_t longest = 0;
  for (const Panel& panel : chart.panels) {
    for (const Series& s : panel.series) {
      longest = std::max(longest, s.label.size());
    }
  }
  return longest;
}

bool has_right_axis(const Chart& chart) {
  return std::any_of(chart.panels.begin(), chart.panels.end(),
                     [](const Panel& p) { return !p.y2_label.empty(); });
}

Metrics metrics_for(const Terminal& terminal, std::size_t label, bool right_axis) {
  const double w = terminal.width;
  if (terminal.kind == TK_TEXT) {
    // A line for the title, one for each heading, two for the time labels and their unit; the
    // units go into the headings, as a text terminal cannot turn the y labels on their side.
    // The legend takes at most a third of the width (longer labels are cut at their end), so
    // that an 80-column terminal keeps nearly 40 columns for the plot.
    const double y2 = right_axis ? 7 : 0;
    return {1, 1, 0, 2, 9, std::min(std::floor(w / 3), label + 7.0) + y2, 1 + y2, 0};
  }
  // About 8 pixels a character at the font size used, after a line sample of about 60.
  const double y2 = right_axis ? 72 : 0;
  return {60, 34, 16, 70, 96, std::clamp(60 + 8.0 * label, 120.0, w * 0.3) + y2, 12 + y2, 60};
}

std::string terminal_line(const Terminal& t) {
  const std::string size = std::to_string(t.width) + "," + std::to_string(t.height);
  switch (t.kind) {
    case TK_PNG:
      return "set terminal pngcairo size " + size + " font 'Sans,11' noenhanced\n";
    case TK_SVG:
      return "set terminal svg size " + size + " font 'Sans,11' background '#ffffff' noenhanced\n";
    case TK_PDF:
      return "set terminal pdfcairo size " + std::to_string(t.width / 100.0) + "in,"
             + std::to_string(t.height / 100.0) + "in font 'Sans,9' noenhanced\n";
    default:
      return "set terminal dumb size " + size + " nofeed noenhanced\n";
  }
}

std::string number(double v) {
  char text[32];
  auto [end, ec] = std::to_chars(text, text + sizeof text, v);
  return std::string(text, end);
}

std::string utc(std::int64_t t, const char* format) {
  const std::time_t time = t;
  std::tm tm{};
  gmtime_r(&time, &tm);
  char text[64];
  return std::string(text, std::strftime(text, sizeof text, format, &tm));
}

std::string duration(std::int64_t s) {
  if (s % 3600 == 0) {
    return std::to_string(s / 3600) + " h";
  }
  return s % 60 == 0 ? std::to_string(s / 60) + " min" : std::to_string(s) + " s";
}

// text, or its start and a '~' when it is longer than room: a name is told apart by its start.
std::string cut(const std::string& text, std::size_t room) {
  return text.size() <= room ? text : text.substr(0, room - 1) + "~";
}

std::string chart_title(const Chart& chart) {
  const std::int64_t start = chart.times.front() - chart.bucket, end = chart.times.back();
  const std::size_t n = chart.times.size();
  const bool one_day = utc(start, "%F") == utc(end - 1, "%F");
  return utc(start, "%Y-%m-%d %H:%M") + " to " + utc(end, one_day ? "%H:%M" : "%Y-%m-%d %H:%M")
         + " UTC, " + std::to_string(n) + (n == 1 ? " bucket of " : " buckets of ")
         + duration(chart.bucket);
}

const char* time_format(std::int64_t span) {
  if (span <= 2 * 86400) {
    return "%H:%M";
  }
  return span <= 90 * 86400 ? "%b %d" : "%Y-%m-%d";
}

// A time tic step that leaves room for labels of label_chars characters across width units.
std::int64_t time_step(std::int64_t span, double width, double char_width,
                       std::size_t label_chars) {
  static const std::int64_t steps[] = {60,      120,     300,     600,      900,     1800,   3600,
                                       7200,    10800,   21600,   43200,    86400,   172800, 604800,
                                       1209600, 2592000, 7776000, 15552000, 31536000};
  const double labels = std::max(2.0, width / ((label_chars + 3) * char_width));
  for (std::int64_t step : steps) {
    if (static_cast<double>(span) / static_cast<double>(step) <= labels) {
      return step;
    }
  }
  return steps[std::size(steps) - 1];
}

struct Range {
  double low = 0, high = 0;
};

// From zero (or the lowest value when negative) to the highest value, with headroom, over the
// series of panel on its right axis or on its left one.
Range value_range(const Panel& panel, const std::vector<std::vector<PlotPoint>>& series,
                  bool right) {
  Range r;
  for (std::size_t s = 0; s < series.size(); ++s) {
    if (panel.series[s].right_axis != right) {
      continue;
    }
    for (const PlotPoint& p : series[s]) {
      if (!p.is_break()) {
        r.low = std::min(r.low, p.value);
        r.high = std::max(r.high, p.value);
      }
    }
  }
  if (r.high <= r.low) {
    r.high = r.low + 1;
  }
  r.high += (r.high - r.low) * 0.08;
  return r;
}

// A round step (1, 2 or 5 times a power of ten) that cuts span into about count parts.
double tic_step(double span, int count) {
  const double raw = span / count;
  const double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (double m : {1.0, 2.0, 5.0}) {
    if (m * power >= raw) {
      return m * power;
    }
  }
  return 10 * power;
}

class ScriptWriter {
 public:
  ScriptWriter(const Chart& chart, const Terminal& terminal)
      : chart(chart),
        terminal(terminal),
        metrics(metrics_for(terminal, longest_label(chart), has_right_axis(chart))) {}

  std::string write(const std::string& output) {
    text += "# vexil-plot: " + chart_title(chart) + "\n";
    text += terminal_line(terminal);
    if (!output.empty()) {
      text += "set output " + gnuplot_quote(output) + "\n";
    }
    reduce_all();
    write_data();
    write_common();
    for (std::size_t p = 0; p < chart.panels.size(); ++p) {
      write_panel(p);
    }
    text += "unset multiplot\n";
    return std::move(text);
  }

 private:
  void reduce_all() {
    const double plot_width = terminal.width - metrics.left - metrics.key;
    const auto slots = static_cast<std::size_t>(std::max(1.0, plot_width));
    for (const Panel& panel : chart.panels) {
      auto& reduced = points.emplace_back();
      for (const Series& s : panel.series) {
        reduced.push_back(reduce_points(chart.times, s.values, chart.bucket, slots));
      }
    }
  }

  void write_data() {
    for (std::size_t p = 0; p < points.size(); ++p) {
      for (std::size_t s = 0; s < points[p].size(); ++s) {
        text += "$p" + std::to_string(p) + "s" + std::to_string(s) + " << EOD\n";
        for (const PlotPoint& point : points[p][s]) {
          text += point.is_break() ? "\n"
                                   : std::to_string(point.time) + " " + number(point.value) + "\n";
        }
        text += "EOD\n";
      }
    }
  }

  void write_common() {
    // The axis spans the buckets whole, from the start of the first to the end of the last, as
    // the title says; each value is drawn at the middle of its bucket.
    text += "set xdata time\nset timefmt '%s'\n";
    text += "set xrange ['" + std::to_string(start()) + "':'" + std::to_string(chart.times.back())
            + "']\n";
    write_time_tics();
    text += "set lmargin at screen " + number(metrics.left / terminal.width) + "\n";
    text += "set rmargin at screen " + number(1 - metrics.key / terminal.width) + "\n";
    // The legend starts just right of the panels, whatever the length of its labels.
    text += "set key at screen "
            + number(1 - metrics.key / terminal.width + metrics.key_gap / terminal.width)
            + ", graph 1 left top vertical Left reverse samplen 2\n";
    text += "set tics nomirror out\nset border 3\n";
    if (terminal.kind == TK_TEXT) {
      text += "set xtics scale 0\n";  // marks below a panel would take the line of the next heading
    }
    if (terminal.kind != TK_TEXT) {
      text += "set grid xtics ytics lc rgb '#d0d0d0' lw 1 dt 1\n";
      text += "set border 3" + border_style() + "\n";
    }
    text += "set multiplot title " + gnuplot_quote(chart_title(chart))
            + (terminal.kind == TK_TEXT ? "" : " font ',15'") + "\n";
  }

  void write_panel(std::size_t p) {
    const Panel& panel = chart.panels[p];
    const double h = terminal.height, n = static_cast<double>(chart.panels.size());
    double each = (h - metrics.title - metrics.bottom - (n - 1) * metrics.gap) / n;
    double title = metrics.title;
    if (terminal.kind == TK_TEXT) {
      // Whole lines a panel, or a heading lands on the last line of the panel above; the lines
      // left over go below the title.
      const double whole = std::floor(each);
      title += (each - whole) * n;
      each = whole;
    }
    const double top = h - title - p * (each + metrics.gap) - metrics.heading;
    const double bottom = h - title - p * (each + metrics.gap) - each;
    const bool text_only = terminal.kind == TK_TEXT;
    text += "set tmargin at screen " + number(top / h) + "\n";
    text += "set bmargin at screen " + number(bottom / h) + "\n";
    std::string heading = panel.note.empty() ? panel.title : panel.title + " (" + panel.note + ")";
    if (text_only) {
      heading = panel.title + " (" + panel.y_label
                + (panel.y2_label.empty() ? "" : ", right: " + panel.y2_label) + ")";
      heading = cut(heading, static_cast<std::size_t>(terminal.width - metrics.left));
    } else {
      text += "set ylabel " + gnuplot_quote(panel.y_label) + "\n";
    }
    text += "set label 1 " + gnuplot_quote(heading) + " at graph 0, graph 1 offset 0, char "
            + (text_only ? "1" : "1.1") + " left" + (text_only ? "" : " font ',12'") + "\n";
    write_y_axis("y", value_range(panel, points[p], false));
    if (panel.y2_label.empty()) {
      text += "unset y2tics\nunset y2label\nset border 3" + border_style() + "\n";
    } else {
      if (!text_only) {
        text += "set y2label " + gnuplot_quote(panel.y2_label) + "\n";
      }
      text += "set y2tics\nset border 11" + border_style() + "\n";
      write_y_axis("y2", value_range(panel, points[p], true));
    }
    const bool last = p + 1 == chart.panels.size();
    if (last) {
      text += "set format x '" + std::string(time_format(chart.times.back() - start()))
              + "'\nset xlabel 'time (UTC)'\n";
    } else {
      text += "set format x ''\nunset xlabel\n";
    }
    write_plot(p);
  }

  // The characters of a legend label that fit beside its line sample.
  std::size_t label_room() const {
    const double room = terminal.kind == TK_TEXT ? metrics.key - metrics.key_gap - 6
                                                 : (metrics.key - metrics.key_gap - 60) / 8;
    return static_cast<std::size_t>(std::max(4.0, room));
  }

  std::string border_style() const { return terminal.kind == TK_TEXT ? "" : " lc rgb '#606060'"; }

  std::int64_t start() const { return chart.times.front() - chart.bucket; }

  // Tics on round times (whole steps since the epoch), from the first within the axis.
  void write_time_tics() {
    const std::int64_t span = chart.times.back() - start();
    const double width = terminal.width - metrics.left - metrics.key;
    const double char_width = terminal.kind == TK_TEXT ? 1 : 8;
    const std::size_t chars = std::strlen(time_format(span));
    const std::int64_t step = time_step(span, width, char_width, chars);
    const std::int64_t first = (start() + step - 1) / step * step;
    text += "set xtics '" + std::to_string(first) + "', " + std::to_string(step) + "\n";
  }

  void write_y_axis(const std::string& axis, const Range& r) {
    text += "set " + axis + "range [" + number(r.low) + ":" + number(r.high) + "]\n";
    text += "set " + axis + "tics "
            + number(tic_step(r.high - r.low, terminal.kind == TK_TEXT ? 3 : 5)) + "\n";
    const bool big = std::max(std::fabs(r.low), std::fabs(r.high)) >= 10000;
    text += "set format " + axis + (big ? " '%.1s%c'\n" : " '%g'\n");
  }

  void write_plot(std::size_t p) {
    const Panel& panel = chart.panels[p];
    const bool marks = chart.times.size() <= metrics.points;
    text += "plot";
    for (std::size_t s = 0; s < panel.series.size(); ++s) {
      text += std::string(s == 0 ? " " : ", \\\n     ") + "$p" + std::to_string(p) + "s"
              + std::to_string(s) + " using ($1-" + number(chart.bucket / 2.0) + "):2"
              + (panel.series[s].right_axis ? " axes x1y2" : "") + " with "
              + (marks ? "linespoints pt 7 ps 0.7" : "lines") + " lw 2 lc rgb '"
              + panel.series[s].colour + "' title "
              + gnuplot_quote(cut(panel.series[s].label, label_room()));
    }
    text += "\n";
  }

  const Chart& chart;
  const Terminal& terminal;
  const Metrics metrics;
  std::vector<std::vector<std::vector<PlotPoint>>> points;  // by panel, then series
  std::string text;
};

}  // namespace

std::string gnuplot_quote(std::string_view text) {
  std::string quoted = "'";
  for (char c : text) {
    quoted +=
        static_cast<unsigned char>(c) < 0x20 ? '?' : c;  // a control character would end the line
    if (c == '\'') {
      quoted += '\'';  // the only escape inside single quotes
    }
  }
  return quoted + "'";
}

std::string gnuplot_script(const Chart& chart, const Terminal& terminal,
                           const std::string& output) {
  return ScriptWriter(chart, terminal).write(output);
}

}  // namespace vexil
