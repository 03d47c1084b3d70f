// SPDX-License-Identifier: Apache-2.0
// Two samples of one engine, combined over time into one row and printed as CSV.
#include <cstdio>
#include <memory>
#include <perflib>

int main() {
  char header[] = "#timestamp,daq.received,stream_tcp.max\n";
  char first[] = "1700000100,1000,40\n";
  char second[] = "1700000160,2500,35\n";
  auto layout = std::make_shared<perflib::Context>(header);
  auto row = std::make_shared<perflib::Record>(layout, first);
  row->single_instance_accumulate(std::make_shared<perflib::Record>(layout, second));
  row->collapse();
  row->print_csv_header(stdout, nullptr);
  row->print_csv(stdout);
}
