// SPDX-License-Identifier: Apache-2.0
// A data line into a Record in each of several layouts: the supplemental-drop one, the older
// engine's and the current engine's (with every column kind they use, per-thread, unknown and
// repeated columns), one without a time column, and the empty one. Every peg is checked against
// strtoull / strtod of the strtok token; then the records go the way of the merge (combined
// over time, collapsed, combined across layouts into an empty record, stamped and printed) and
// through the minimum, maximum and average accumulations and the report.
#include <cmath>
#include <memory>

#include "fuzz_support.h"
#include "perflib"

namespace {

using perflib::Record;
using perflib::RecordPtr;

const char* const HEADERS[] = {
    "#time,sdrops\n",
    "#time,pkt_drop_percent,wire_mbits_per_sec.realtime,avg_bytes_per_wire_packet,total_sessions,"
    "max_sessions,stream_timeouts,iCPUs,usr[0],pkt_stats.pkts_recv,pkt_stats.pkts_drop,"
    "wire_mbits_per_sec.realtime,unknown\n",
    "#timestamp,daq.received,stream_tcp.sessions,stream_ip.max_frags,stats.pkt_drop_percent,"
    "thread_0.cpu_user,stats.usr[1],extra,extra\n",
    "#a,b,c\n",
    nullptr,
};

bool same_real(long double a, long double b) {
  return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
}

// The line parsed in the layout, each peg checked against the C library's conversion.
RecordPtr parse(const std::shared_ptr<perflib::Context>& context, std::string_view text) {
  fuzz::Line line(text), original(text);
  auto record = std::make_shared<Record>(context, line.get());
  const std::vector<perflib::Field>& fields = context->fields;
  FUZZ_CHECK(record->pegs.size() == fields.size());
  const std::vector<std::string> tokens = fuzz::reference_tokens(original.get());
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const char* token = i < tokens.size() ? tokens[i].c_str() : "0";
    if (perflib::is_integer(fields[i].type)) {
      FUZZ_CHECK(record->pegs[i].count == std::strtoull(token, nullptr, 10));
    } else {
      FUZZ_CHECK(same_real(record->pegs[i].value, std::strtod(token, nullptr)));
    }
  }
  return record;
}

std::shared_ptr<perflib::Context> layout(const char* header) {
  fuzz::Line line(header != nullptr ? header : "");
  return header != nullptr ? std::make_shared<perflib::Context>(line.get())
                           : std::make_shared<perflib::Context>();
}

// As a reader does with consecutive rows of one bucket: the line combined with itself, once in
// the same context object and once in an equal one, which the accumulation then shares.
RecordPtr over_time(const char* header, std::string_view text) {
  const std::shared_ptr<perflib::Context> context = layout(header);
  RecordPtr r = parse(context, text);
  const std::int64_t t = r->get_time();
  r->single_instance_accumulate(parse(context, text));
  r->single_instance_accumulate(parse(layout(header), text));
  r->collapse();
  FUZZ_CHECK(r->get_time() == t);  // the time column combines as the maximum
  return r;
}

}  // namespace

FUZZ_TARGET(text) {
  FILE* out = fuzz::null_output();
  auto merged = std::make_shared<Record>(std::make_shared<perflib::Context>(), nullptr);
  std::vector<RecordPtr> records;
  for (const char* header : HEADERS) {
    records.push_back(over_time(header, text));
    merged->multi_instance_accumulate(records.back());
  }
  merged->collapse();
  merged->set_time(static_cast<std::int64_t>(static_cast<std::uint64_t>(merged->get_time()) + 300));
  merged->print_csv_header(out, nullptr);
  merged->print_csv(out);
  merged->print_formatted(out, true);
  records.back()->print_csv_header(out, merged);
  RecordPtr minimum = records[2]->copy(), maximum = records[2]->copy(),
            average = records[2]->copy();
  for (const RecordPtr& r : records) {
    minimum->min_accumulate(r);
    maximum->max_accumulate(r);
    average->average_accumulate(r);
  }
  average->collapse();
  perflib::print_report(out, average, minimum, maximum);
}
