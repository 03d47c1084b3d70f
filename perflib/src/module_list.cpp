// SPDX-License-Identifier: Apache-2.0
// The statistics modules of the current layout and their pegs, as one line of engine
// configuration, and the display names of the normalisation counters.
//
// A column name "module.peg" files the peg under its module; the "stats" pseudo-module (derived
// columns) and the time column are not engine modules and are left out. Both levels are sorted,
// so the output does not depend on the order of the tables.
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "perflib_bits/calc_plan.h"
#include "perflib_bits/field_tables.h"
#include "perflib_legacy.h"

extern "C" {
const char* const norm_names[29] = {
    "Norm ip4::trim",     "Norm ip4::tos",      "Norm ip4::df",       "Norm ip4::rf",
    "Norm ip4::ttl",      "Norm ip4::opts",     "Norm icmp4::echo",   "Norm ip6::ttl",
    "Norm ip6::opts",     "Norm icmp6::echo",   "Norm tcp::syn_opt",  "Norm tcp::opt",
    "Norm tcp::pad",      "Norm tcp::rsv",      "Norm tcp::ns",       "Norm tcp::urp",
    "Norm tcp::ecn_pkt",  "Norm tcp::ecn_ssn",  "Norm tcp::ts_ecr",   "Norm tcp::ts_nop",
    "Norm tcp::ips_data", "Norm tcp::block",    "Norm tcp::req_urg",  "Norm tcp::req_pay",
    "Norm tcp::req_urp",  "Norm tcp::trim_syn", "Norm tcp::trim_rst", "Norm tcp::trim_win",
    "Norm tcp::trim_mss",
};
}

namespace {

using ModuleMap = std::map<std::string, std::set<std::string>, std::less<>>;

void add_name(ModuleMap& modules, std::string_view name) {
  const std::size_t dot = name.find('.');
  const std::string_view module = name.substr(0, dot);
  if (module == "stats" || module == "timestamp") {
    return;
  }
  const std::string_view peg = dot == std::string_view::npos ? name : name.substr(dot + 1);
  modules[std::string(module)].emplace(peg);
}

ModuleMap collect_modules() {
  ModuleMap modules;
  for (const auto& [key, field] : perflib::trelk_3_fields.fields) {
    if (field.name) {
      add_name(modules, *field.name);
    }
  }
  for (const perflib::CalcPlan& plan : perflib::calc_plans) {
    add_name(modules, plan.name);
  }
  return modules;
}

void print_modules(std::FILE* out, const ModuleMap& modules) {
  std::fputs("modules={", out);
  const char* module_separator = "";
  for (const auto& [module, pegs] : modules) {
    std::fprintf(out, "%s{name='%s',pegs=[[", module_separator, module.c_str());
    const char* peg_separator = "";
    for (const std::string& peg : pegs) {
      std::fprintf(out, "%s%s", peg_separator, peg.c_str());
      peg_separator = " ";
    }
    std::fputs("]]}", out);
    module_separator = ",";
  }
  std::fputs("}\n", out);
}

}  // namespace

extern "C" void print_trelk3_lua(std::FILE* out) {
  try {
    print_modules(out, collect_modules());
  } catch (...) {
    // Out of memory while collecting: nothing is printed; no exception may leave a C function.
  }
}
