// SPDX-License-Identifier: Apache-2.0
#include "arguments.h"

#include <getopt.h>

#include <cstdio>
#include <stdexcept>

namespace vexil {

namespace {

// Options that have only a long name take values beyond every character, so getopt_long never
// confuses them with a short option.
enum LongOnly : int { kHelp = 256, kOutput };

// The long options and their lines of the --help text, in the same order.
const option long_options[] = {
    {"help", no_argument, nullptr, kHelp},
    {"output", required_argument, nullptr, kOutput},
    {nullptr, 0, nullptr, 0},
};
const char long_help[] =
    "long options:\n"
    "   --help show this help and the long options\n"
    "   --output output-file (instead of standard output; made anew at each start)\n"
    "\n";

// The last line of the message for a long option that getopt_long rejected (it has already
// said why on stderr). optopt is 0 for a name it does not know, else the option's value.
std::string long_option_error(char** argv) {
  for (const option& o : long_options) {
    if (o.name && o.val == optopt) {
      return std::string(o.has_arg == no_argument ? "Option takes no argument: --"
                                                  : "Option requires an argument: --")
             + o.name;
    }
  }
  return std::string("Unrecognized argument: ") + argv[optind - 1];
}

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
      default:
        show_help();
        // A short option is named by what getopt returned, '?', as it always has been.
        throw std::runtime_error(optopt == 0 || optopt >= kHelp
                                     ? long_option_error(argv)
                                     : std::string("Unrecognized argument: ")
                                           + static_cast<char>(option));
    }
  }

  if (file_names.empty()) {
    throw std::runtime_error("Filename must be specified with -f");
  }
  if (log_dirs.empty()) {
    for (const std::string& file_name : file_names) {
      paths.push_back(base + file_name);
    }
    return;
  }
  for (const std::string& log_dir : log_dirs) {
    for (const std::string& file_name : file_names) {
      paths.push_back(base + log_dir + file_name);
    }
  }
}

}  // namespace vexil
