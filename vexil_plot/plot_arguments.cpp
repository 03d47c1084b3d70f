// SPDX-License-Identifier: Apache-2.0
#include "plot_arguments.h"

#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "perflib"

namespace vexil {

namespace {

constexpr int OPT_SCRIPT = 256;

// The whole of text as a number in [low, high], or nothing.
template <class T>
std::optional<T> whole_number(std::string_view text, T low, T high) {
  T value{};
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size() || value < low || value > high) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

void PlotArguments::show_help() {
  std::fputs(
      "usage: vexil-plot [-o FILE] [-c COLUMNS] [-T SECONDS] [-s WIDTHxHEIGHT] [--script] [FILE]\n"
      "Draws vexil's merged statistics (from FILE, or standard input) with gnuplot.\n"
      "  -o FILE        write a picture; .png, .svg or .pdf picks the format\n"
      "                 (without -o: a text chart on standard output)\n"
      "  -c COLUMNS     draw these columns instead of the dashboard: comma-separated names,\n"
      "                 '*' matches any text (thread_*.cpu_user); one panel per name\n"
      "  -T SECONDS     the bucket length, when the timestamps cannot tell it (one bucket)\n"
      "  -s WxH         picture size in pixels (default 1600x1000), or text size in characters\n"
      "  --script       print the gnuplot script with its data instead of running it\n"
      "  -h, --help     show this help\n",
      stdout);
}

void PlotArguments::parse(int argc, char** argv) {
  static const option long_options[] = {{"help", no_argument, nullptr, 'h'},
                                        {"script", no_argument, nullptr, OPT_SCRIPT},
                                        {nullptr, 0, nullptr, 0}};
  optind = 0;
  opterr = 0;  // our own one-line messages
  for (int c; (c = getopt_long(argc, argv, ":ho:c:T:s:", long_options, nullptr)) != -1;) {
    switch (c) {
      case 'h':
        help = true;
        show_help();
        return;
      case 'o':
        output = optarg;
        break;
      case 'c':
        for (std::string& pattern : perflib::split_column_patterns(optarg)) {
          columns.push_back(std::move(pattern));
        }
        break;
      case 'T':
        if (auto seconds = whole_number<std::int64_t>(optarg, 1, 1LL << 40)) {
          bucket = *seconds;
          break;
        }
        throw std::runtime_error(std::string("invalid bucket length: ") + optarg);
      case 's':
        parse_size(optarg);
        break;
      case OPT_SCRIPT:
        script = true;
        break;
      case ':':
        throw std::runtime_error(std::string("missing value for ") + argv[optind - 1]);
      default:
        throw std::runtime_error("unknown option (see vexil-plot -h): "
                                 + (optopt != 0 ? std::string("-") + static_cast<char>(optopt)
                                                : std::string(argv[optind - 1])));
    }
  }
  if (optind + 1 < argc) {
    throw std::runtime_error(std::string("only one input file may be given: ") + argv[optind + 1]);
  }
  if (optind < argc) {
    input = argv[optind];
  }
}

void PlotArguments::parse_size(std::string_view text) {
  const std::size_t x = text.find('x');
  if (x != std::string_view::npos) {
    auto w = whole_number(text.substr(0, x), 1, 20000);
    auto h = whole_number(text.substr(x + 1), 1, 20000);
    if (w && h) {
      width = *w;
      height = *h;
      return;
    }
  }
  throw std::runtime_error("invalid size (WIDTHxHEIGHT): " + std::string(text));
}

}  // namespace vexil
