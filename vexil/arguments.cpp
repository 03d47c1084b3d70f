#include "arguments.h"

#include <getopt.h>

#include <cstdio>
#include <stdexcept>

namespace vexil {

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
  for (int option; (option = getopt(argc, argv, "hd:f:l:s:tT:")) != -1;) {
    switch (option) {
      case 'h':
        help = true;
        show_help();
        return;  // nothing after -h is read or checked
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
        throw std::runtime_error(std::string("Unrecognized argument: ")
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
