// SPDX-License-Identifier: Apache-2.0
#include "gnuplot_script.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <vector>

#include "point_reducer.h"

namespace vexil {

namespace {

// Space around the panels, in pixels for pictures and in characters and lines for text.
struct Metrics {
  double title;        // above the first panel
  double line;         // a line of heading or legend above a panel
  double pad;          // more room above each panel's heading
  double gap;          // below each panel but the last, for its tics
  double bottom;       // below the last panel: time labels
  double left;         // y labels and their tics
  double right;        // right of the panels: half the last time label
  double char_width;   // of a heading or legend character, rounded up
  double key_extra;    // of a legend entry beside its name: the line sample and spaces
  double least_plot;   // the height of a panel below its heading and legend, at the least
  std::size_t points;  // at most this many rows are drawn with point marks too
};

Metrics metrics_for(const Terminal& terminal) {
  if (terminal.kind == TK_TEXT) {
    // The units go into the headings, as a text terminal cannot turn the y labels on their side,
    // and the time labels need no unit of their own: the title says UTC. Five lines a panel at
    // the least, so that its axis has three numbered tics with a line between them.
    return {1, 1, 0, 0, 1, 9, 3, 1, 6, 5, 0};
  }
  // Sans 11 is about 9 pixels a character wide, and a heading at 12 a little more; a legend
  // entry is its name and a line sample of about 60.
  return {60, 18, 16, 16, 70, 96, 40, 10, 60, 60, 60};
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
  double low = 0, high = 0, step = 1;
};

// The lowest value (or zero) and the highest (or zero) of the series of a panel.
Range data_range(const std::vector<std::vector<PlotPoint>>& series) {
  Range r;
  for (const std::vector<PlotPoint>& points : series) {
    for (const PlotPoint& p : points) {
      if (!p.is_break()) {
        r.low = std::min(r.low, p.value);
        r.high = std::max(r.high, p.value);
      }
    }
  }
  if (r.high <= r.low) {
    r.high = r.low + 1;
  }
  return r;
}

// v without the last bits a product of decimal steps leaves, so that it prints as it reads.
double tidy(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.12g", v);
  return std::strtod(text, nullptr);
}

// A picture's axis height pixels high: the data with headroom, and a round step (1, 2 or 5 times
// a power of ten) that cuts it into about five parts, fewer on a low axis.
Range picture_axis(Range r, double height) {
  r.high += (r.high - r.low) * 0.08;
  const double raw = (r.high - r.low) / std::clamp(std::floor(height / 24), 2.0, 5.0);
  const double power = std::pow(10.0, std::floor(std::log10(raw)));
  r.step = 10 * power;
  for (double m : {5.0, 2.0, 1.0}) {
    if (m * power >= raw) {
      r.step = tidy(m * power);
    }
  }
  return r;
}

// A text axis rows lines tall: whole round steps (1, 2, 2.5 or 5 times a power of ten) from a
// tic at the bottom to one at the top, with a line between any two, so that every tic has a line
// of its own for its number; of those, the one the data fills the most.
Range text_axis(const Range& data, double rows) {
  const double most = std::max(1.0, std::floor((rows - 1) / 2));
  const double base = std::pow(10.0, std::floor(std::log10((data.high - data.low) / most)) - 1);
  Range best{data.low, data.high, data.high - data.low};
  bool found = false;
  for (double power : {base, base * 10, base * 100}) {
    for (double m : {1.0, 2.0, 2.5, 5.0}) {
      const double step = tidy(m * power);
      const double low = tidy(std::floor(data.low / step) * step);
      const double high = tidy(std::ceil(data.high / step) * step);
      if (std::round((high - low) / step) <= most
          && (!found || high - low < best.high - best.low)) {
        best = {low, high, step};
        found = true;
      }
    }
  }
  return best;
}

// Where a panel goes on its page: its heading and legend, and the plot below them.
struct PanelLayout {
  std::size_t panel = 0;
  double header = 0;               // the height of the heading and legend lines
  double plot = 0;                 // the height of the plot
  double key_columns = 1;          // 0: no legend
  bool key_below_heading = false;  // else the legend's first line is the heading's
  std::string heading;
};

class ScriptWriter {
 public:
  ScriptWriter(const Chart& chart, const Terminal& terminal)
      : chart(chart), terminal(terminal), metrics(metrics_for(terminal)) {}

  std::string write(const std::string& output) {
    text += "# vexil-plot: " + chart_title(chart) + "\n";
    text += terminal_line(terminal);
    if (!output.empty()) {
      text += "set output " + gnuplot_quote(output) + "\n";
    }
    reduce_all();
    write_data();
    write_common();
    const std::vector<std::vector<PanelLayout>> pages = paginate();
    for (std::size_t i = 0; i < pages.size(); ++i) {
      const std::string page = pages.size() == 1 ? ""
                                                 : " (" + std::to_string(i + 1) + "/"
                                                       + std::to_string(pages.size()) + ")";
      std::string title = chart_title(chart);
      if (text_only()) {
        title = cut(title, static_cast<std::size_t>(terminal.width) - page.size());
      }
      title.append(page);
      text +=
          "set multiplot title " + gnuplot_quote(title) + (text_only() ? "" : " font ',15'") + "\n";
      write_page(pages[i]);
      text += "unset multiplot\n";
    }
    return std::move(text);
  }

 private:
  bool text_only() const { return terminal.kind == TK_TEXT; }

  double plot_width() const { return terminal.width - metrics.left - metrics.right; }

  void reduce_all() {
    const auto slots = static_cast<std::size_t>(std::max(1.0, plot_width()));
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
    text += "set rmargin at screen " + number(1 - metrics.right / terminal.width) + "\n";
    text += "set tics nomirror out\nset border 3" + border_style() + "\n";
    if (text_only()) {
      text += "set xtics scale 0\n";  // marks below a panel would take the line of the next heading
    } else {
      text += "set grid xtics ytics lc rgb '#d0d0d0' lw 1 dt 1\n";
    }
  }

  // A picture's heading says how the values were made, unless that alone would push the legend
  // below it; a text heading gives the unit, which a text terminal cannot turn on its side.
  std::string heading(const Panel& panel, bool with_note) const {
    if (text_only()) {
      return cut(panel.title + " (" + panel.y_label + ")",
                 static_cast<std::size_t>(terminal.width - metrics.left));
    }
    return panel.note.empty() || !with_note ? panel.title : panel.title + " (" + panel.note + ")";
  }

  // The characters of a legend name that fit across the plot.
  std::size_t label_room() const {
    return static_cast<std::size_t>(
        std::max(4.0, std::floor((plot_width() - metrics.key_extra) / metrics.char_width) - 1));
  }

  // The legend goes above the plot, right-aligned, in as many columns as fit across it: beside
  // the heading when there is room, else on lines of its own below it. Names are cut only when
  // one is wider than the plot.
  PanelLayout header_of(std::size_t p) const {
    const Panel& panel = chart.panels[p];
    std::size_t longest = 0;
    for (const Series& s : panel.series) {
      longest = std::max(longest, std::min(s.label.size(), label_room()));
    }
    const double entry = static_cast<double>(longest) * metrics.char_width + metrics.key_extra;
    const auto n = static_cast<double>(panel.series.size());
    PanelLayout layout;
    layout.panel = p;
    layout.key_columns = std::clamp(std::floor(plot_width() / entry), 1.0, n);
    const double key_lines = std::ceil(n / layout.key_columns);
    const auto beside = [&](const std::string& heading) {
      return static_cast<double>(heading.size() + 1) * metrics.char_width
                 + layout.key_columns * entry
             <= plot_width();
    };
    layout.heading = heading(panel, true);
    if (!beside(layout.heading) && beside(heading(panel, false))) {
      layout.heading = heading(panel, false);
    }
    layout.key_below_heading = !beside(layout.heading);
    layout.header = metrics.pad + metrics.line * (key_lines + (layout.key_below_heading ? 1 : 0));
    if (text_only() && layout.header + 2 > terminal.height - metrics.title - metrics.bottom) {
      layout.key_columns = 0;  // a legend higher than the page: the lines go without one
      layout.header = metrics.line;
    }
    return layout;
  }

  // A picture holds every panel on one page. A text chart fills pages of the terminal's height,
  // as few as give each panel its least height, with about as many panels on each, and each
  // page with its own time axis, so that each reads on its own.
  std::vector<std::vector<PanelLayout>> paginate() const {
    std::vector<PanelLayout> all;
    for (std::size_t p = 0; p < chart.panels.size(); ++p) {
      all.push_back(header_of(p));
    }
    const double room = terminal.height - metrics.title - metrics.bottom;
    const auto n = all.size();
    if (!text_only()) {
      double headers = 0;
      for (const PanelLayout& l : all) {
        headers += l.header;
      }
      for (PanelLayout& l : all) {
        l.plot =
            (room - headers - static_cast<double>(n - 1) * metrics.gap) / static_cast<double>(n);
      }
      return {all};
    }
    const auto split = [&](std::size_t most) {
      std::vector<std::vector<PanelLayout>> pages;
      for (std::size_t i = 0; i < n;) {
        auto& page = pages.emplace_back();
        double used = 0;
        for (; i < n && page.size() < most
               && (page.empty() || used + all[i].header + metrics.least_plot <= room);
             ++i) {
          used += all[i].header + metrics.least_plot;
          page.push_back(all[i]);
        }
        // The lines left over make the plots taller, evenly; the rest go below the title.
        const double more = std::floor((room - used) / static_cast<double>(page.size()));
        for (PanelLayout& l : page) {
          l.plot = std::max(2.0, metrics.least_plot + more);  // a page too low for one panel
        }
      }
      return pages;
    };
    const std::size_t count = split(n).size();
    return split((n + count - 1) / count);
  }

  // The last panel ends just above the time labels; lines left over go below the title.
  void write_page(const std::vector<PanelLayout>& page) {
    double top = metrics.bottom + static_cast<double>(page.size() - 1) * metrics.gap;
    for (const PanelLayout& l : page) {
      top += l.header + l.plot;
    }
    for (std::size_t i = 0; i < page.size(); ++i) {
      write_panel(page[i], top, i + 1 == page.size());
      top -= page[i].header + page[i].plot + metrics.gap;
    }
  }

  // Where the line or pixel row whose top edge is y units up from the bottom lies on the screen.
  // A text terminal puts line n from the bottom (from 0) at n / (lines - 1).
  std::string screen(double y) const {
    const double h = terminal.height;
    return "screen " + number(text_only() ? (y - 1) / (h - 1) : y / h);
  }

  // The panel whose heading's top edge is top units up from the bottom of the page.
  void write_panel(const PanelLayout& l, double top, bool last) {
    const Panel& panel = chart.panels[l.panel];
    const double plot_top = top - l.header, line = metrics.line;
    text += "set tmargin at " + screen(plot_top) + "\n";
    text += "set bmargin at " + screen(plot_top - l.plot + (text_only() ? line : 0)) + "\n";
    const double heading_line = top - metrics.pad - (text_only() ? 0 : line / 2);
    text += "set label 1 " + gnuplot_quote(l.heading) + " at graph 0, " + screen(heading_line)
            + " left" + (text_only() ? "" : " font ',12'") + "\n";
    // A text legend's first line lies a line below the position of its top.
    const double key_top =
        top - metrics.pad - (l.key_below_heading ? line : 0) + (text_only() ? line : 0);
    text += l.key_columns == 0
                ? "set key off\n"
                : "set key on at graph 1, " + screen(key_top) + " right top horizontal maxcols "
                      + number(l.key_columns) + " Left reverse samplen 2\n";
    if (!text_only()) {
      text += "set ylabel " + gnuplot_quote(panel.y_label) + "\n";
    }
    const Range data = data_range(points[l.panel]);
    const Range axis = text_only() ? text_axis(data, l.plot) : picture_axis(data, l.plot);
    text += "set yrange [" + number(axis.low) + ":" + number(axis.high) + "]\n";
    text += "set ytics " + number(axis.step) + "\n";
    const bool big = std::max(std::fabs(axis.low), std::fabs(axis.high)) >= 10000;
    text += big ? "set format y '%.1s%c'\n" : "set format y '%g'\n";
    if (last) {
      text += "set format x '" + std::string(time_format(chart.times.back() - start())) + "'\n"
              + (text_only() ? "unset xlabel\n" : "set xlabel 'time (UTC)'\n");
    } else {
      text += "set format x ''\nunset xlabel\n";
    }
    write_plot(l.panel);
  }

  std::string border_style() const { return text_only() ? "" : " lc rgb '#606060'"; }

  std::int64_t start() const { return chart.times.front() - chart.bucket; }

  // Tics on round times (whole steps since the epoch), from the first within the axis.
  void write_time_tics() {
    const std::int64_t span = chart.times.back() - start();
    const double char_width = text_only() ? 1 : 8;
    const std::size_t chars = std::strlen(time_format(span));
    const std::int64_t step = time_step(span, plot_width(), char_width, chars);
    const std::int64_t first = (start() + step - 1) / step * step;
    text += "set xtics '" + std::to_string(first) + "', " + std::to_string(step) + "\n";
  }

  void write_plot(std::size_t p) {
    const Panel& panel = chart.panels[p];
    const bool marks = chart.times.size() <= metrics.points;
    text += "plot";
    for (std::size_t s = 0; s < panel.series.size(); ++s) {
      text += std::string(s == 0 ? " " : ", \\\n     ") + "$p" + std::to_string(p) + "s"
              + std::to_string(s) + " using ($1-" + number(chart.bucket / 2.0) + "):2 with "
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
