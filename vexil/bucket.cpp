// SPDX-License-Identifier: Apache-2.0
#include "bucket.h"

#include <algorithm>

#include "metrics_exposition.h"
#include "stop_signals.h"

namespace vexil {

std::int64_t bucket_start(std::int64_t t, int size) {
  return t - t % size;
}

Bucket::Bucket(std::int64_t time, int size, perflib::RecordPtr& last_printed)
    : time(time), size(size), last_printed(last_printed), out(stdout) {}

Bucket::~Bucket() {
  if (records.empty()) {
    return;
  }
  const stop_signals::Printing printing;  // SIGTERM waits for the lines to be whole
  auto output = std::make_shared<perflib::Record>(std::make_shared<perflib::Context>(), nullptr);
  for (const perflib::RecordPtr& r : records) {
    output->multi_instance_accumulate(r);
  }
  output->collapse();
  // Wrapping like unsigned arithmetic: the end of the last interval may pass the int64 range.
  output->set_time(static_cast<std::int64_t>(static_cast<std::uint64_t>(time)
                                             + static_cast<std::uint64_t>(size)));
  if (writer != nullptr) {
    writer->write(out, *output);
  } else {
    output->print_csv_header(out, last_printed);
    output->print_csv(out);
  }
  last_printed = output;
  if (metrics != nullptr) {
    metrics->add_bucket(*this, *output);
  }
}

bool Bucket::should_contain(std::int64_t t) {
  return bucket_start(t, size) == time;
}

void Bucket::finish(perflib::RecordPtr r) {
  finish(std::move(r), UINT64_MAX, SIZE_MAX);
}

void Bucket::finish(perflib::RecordPtr r, std::uint64_t row, std::size_t input) {
  if (!r) {
    return;
  }
  r->collapse();
  // Read row by row in turn the stretches come in this order already; read ahead by time, an
  // input's stretch can come before those of earlier passes.
  const Order o{row, input};
  const auto at = std::upper_bound(order.begin(), order.end(), o);
  records.insert(records.begin() + (at - order.begin()), std::move(r));
  order.insert(at, o);
}

std::shared_ptr<Bucket> make_bucket(std::int64_t time, int size, perflib::RecordPtr& last_printed) {
  return std::make_shared<Bucket>(time, size, last_printed);
}

}  // namespace vexil
