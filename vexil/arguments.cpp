// SPDX-License-Identifier: Apache-2.0
#include "arguments.h"

#include <getopt.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "time_window.h"

namespace vexil {

namespace {

// Options that have only a long name take values beyond every character, so getopt_long never
// confuses them with a short option.
enum LongOnly : int {
  kHelp = 256,
  kOutput,
  kSince,
  kUntil,
  kVersion,
  kRotated,
  kMaxLag,
  kColumns,
  kTimeFormat,
  kFormat,
  kStrict,
  kMetricsListen
};

// The long options and their lines of the --help text, in the same order.
const option long_options[] = {
    {"help", no_argument, nullptr, kHelp},
    {"output", required_argument, nullptr, kOutput},
    {"since", required_argument, nullptr, kSince},
    {"until", required_argument, nullptr, kUntil},
    {"version", no_argument, nullptr, kVersion},
    {"rotated", no_argument, nullptr, kRotated},
    {"max-lag", required_argument, nullptr, kMaxLag},
    {"strict", no_argument, nullptr, kStrict},
    {"columns", required_argument, nullptr, kColumns},
    {"time-format", required_argument, nullptr, kTimeFormat},
    {"format", required_argument, nullptr, kFormat},
    {"metrics-listen", required_argument, nullptr, kMetricsListen},
    {nullptr, 0, nullptr, 0},
};
const char long_help[] =
    "long options:\n"
    "   --help show this help and the long options\n"
    "   --output output-file (instead of standard output; appended to)\n"
    "   --since time, --until time\n"
    "      merge only the rows with since <= time < until; a time is epoch seconds or\n"
    "      ISO 8601 (2026-11-20T14:00:00Z, '2026-11-20 14:00+01:00', 2026-11-20),\n"
    "      UTC unless it names its zone; with -t the run ends once every input has\n"
    "      passed --until\n"
    "   --rotated read each file's rotated predecessors first, as the same instance:\n"
    "      FILE.N and FILE-DATE beside it, compressed or not, oldest first; with -t\n"
    "      the history is read, then FILE is followed\n"
    "   --max-lag seconds (with -t: print a bucket once a row this far past its end was read,\n"
    "             without the inputs that lag; their late rows are dropped)\n"
    "   --strict end the run at the first line that is not exactly a statistics line\n"
    "      (cells as many as the header's, numbers of the column's kind, time never\n"
    "      going back, no carriage return or byte that is not text): PATH:LINE: reason\n"
    "   --columns patterns (comma-separated, '*' matches any text: 'daq.*,thread_*.cpu_user')\n"
    "      print the time column, then only the columns the patterns name (a pattern\n"
    "      that names none is an error, once the merge is printed)\n"
    "   --time-format epoch|iso  the time column in epoch seconds (default) or as\n"
    "      ISO 8601 UTC (2026-11-20T14:00:00Z)\n"
    "   --format csv|tsv|jsonl  comma- or tab-separated lines (default csv), or one\n"
    "      JSON object per bucket (vexil -t --format jsonl | jq)\n"
    "   --metrics-listen [address:]port  with -t: serve the merge to Prometheus at\n"
    "      http://address:port/metrics (address 127.0.0.1 unless given; listen wider\n"
    "      with 0.0.0.0:9464 or [::]:9464)\n"
    "   --version print the version\n"
    " arguments that are not options are read as more files, each as typed\n"
    " (vexil -f logs/engine*/perf_monitor.csv reads every engine)\n"
    " files may be compressed with gzip, zstd or xz\n"
    " examples:\n"
    "   vexil -d /var/log/trelk -l instance1 -l instance2 -f perf_monitor.csv\n"
    "   vexil --rotated --since 2026-11-20T14:00Z --until 2026-11-20T15:00Z "
    "bundle/*/perf_monitor.csv\n"
    "   vexil -t --format jsonl --columns 'daq.*' -d /var/log/trelk -l i1 -l i2 -f "
    "perf_monitor.csv\n"
    "\n";

// Whole seconds, 0 or more.
std::int64_t parse_max_lag(const char* text) {
  char* end = nullptr;
  errno = 0;
  const long long seconds = std::strtoll(text, &end, 10);
  if (end == text || *end != '\0' || errno != 0 || seconds < 0) {
    throw std::runtime_error(std::string("Invalid maximum lag specified: ") + text);
  }
  return seconds;
}

template <class T, std::size_t N>
T parse_choice(const char* text, const char* what, const std::pair<const char*, T> (&choices)[N]) {
  for (const auto& [name, value] : choices) {
    if (std::strcmp(text, name) == 0) {
      return value;
    }
  }
  std::string names;
  for (std::size_t k = 0; k < N; ++k) {
    names += std::string(k == 0 ? "" : k + 1 == N ? " or " : ", ") + choices[k].first;
  }
  throw std::runtime_error(std::string("Invalid ") + what + " specified: " + text + " (" + names
                           + ")");
}

const std::pair<const char*, OutputFormat> formats[] = {
    {"csv", OutputFormat::kCsv}, {"tsv", OutputFormat::kTsv}, {"jsonl", OutputFormat::kJsonl}};
const std::pair<const char*, TimeFormat> time_formats[] = {{"epoch", TimeFormat::kEpoch},
                                                           {"iso", TimeFormat::kIso}};

}  // namespace

void Arguments::show_help() {
  std::fputs(
      "\nvexil v 7.0.0 \n"
      "usage: vexil options\n"
      "   -h show this help\n"
      "   -d base-dir-path\n"
      "   -f file-name\n"
      "   -l log-dir1 -l log-dir2 -l log-dir3 ...\n"
      "   -T target bucket time \n"
      "   -t tail real time performance\n"
      "   -s supplemental-drop-file\n"
      " files are read from each 'log-dirX' as 'base-dir-path/log-dirX/file-name'\n"
      " multiple file-names may be specified\n"
      "\n",
      stdout);
}

void Arguments::parse(int argc, char** argv) {
  std::string base;
  std::vector<std::string> file_names;
  std::vector<std::string> log_dirs;

  optind = 0;  // full re-initialisation of getopt, so parse can run more than once
  for (int option;
       (option = getopt_long(argc, argv, "hd:f:l:s:tT:", long_options, nullptr)) != -1;) {
    switch (option) {
      case 'h':
        help = true;
        show_help();
        return;  // nothing after -h is read or checked
      case kHelp:
        help = true;
        show_help();
        std::fputs(long_help, stdout);
        return;
      case kOutput:
        output = optarg;
        break;
      case kMaxLag:
        max_lag = parse_max_lag(optarg);
        break;
      case kColumns: {
        std::vector<std::string> more = perflib::split_column_patterns(optarg);
        if (more.empty()) {
          throw std::runtime_error("--columns needs at least one pattern");
        }
        columns.insert(columns.end(), more.begin(), more.end());
        break;
      }
      case kMetricsListen:
        metrics_listen = optarg;
        break;
      case kFormat:
        format = parse_choice(optarg, "format", formats);
        break;
      case kTimeFormat:
        time_format = parse_choice(optarg, "time format", time_formats);
        break;
      case 'd':
        base = std::string(optarg) + "/";
        break;
      case 'f':
        file_names.emplace_back(optarg);
        break;
      case 'l':
        log_dirs.push_back(std::string(optarg) + "/");
        break;
      case 's':
        supplemental_paths.emplace_back(optarg);
        break;
      case 't':
        tail = true;
        break;
      case 'T':
        bucket_size = std::stoi(optarg);  // deliberate: a non-number is not caught
        if (bucket_size < 1) {
          throw std::runtime_error(std::string("Invalid bucket size specified: ") + optarg);
        }
        break;
      case kSince:
        window.since = parse_time(optarg, "since");
        break;
      case kUntil:
        window.until = parse_time(optarg, "until");
        break;
      case kStrict:
        strict = true;
        break;
      case kRotated:
        rotated = true;
        break;
      case kVersion:
        help = true;
        std::fputs("vexil " VEXIL_VERSION "\n", stdout);
        return;
      default:
        // A long option: getopt_long said what is wrong with it on stderr.
        if (optopt == 0 || optopt >= kHelp) {
          throw std::runtime_error("Try 'vexil --help' for more information.");
        }
        show_help();
        // A short option is named by what getopt returned, '?', as it always has been.
        throw std::runtime_error(std::string("Unrecognized argument: ")
                                 + static_cast<char>(option));
    }
  }

  if (file_names.empty() && optind == argc) {
    throw std::runtime_error("Filename must be specified with -f");
  }
  if (window.since > window.until) {
    throw std::runtime_error("--since must be before --until");
  }
  if (max_lag && !tail) {
    throw std::runtime_error("--max-lag needs -t");
  }
  if (metrics_listen && !tail) {
    throw std::runtime_error("--metrics-listen needs -t");
  }
  if (log_dirs.empty() && !file_names.empty()) {
    log_dirs.emplace_back();
  }
  for (const std::string& log_dir : log_dirs) {
    for (const std::string& file_name : file_names) {
      paths.push_back(base + log_dir + file_name);
      log_dir_of_path.push_back(log_dir.empty() ? log_dir : log_dir.substr(0, log_dir.size() - 1));
    }
  }
  // Arguments that are not options (getopt_long moved them to the end): more files, as typed,
  // so that a shell's wildcard after -f reads every file it names.
  paths.insert(paths.end(), argv + optind, argv + argc);
}

}  // namespace vexil
