// SPDX-License-Identifier: Apache-2.0
// One time interval of the merge: one combined record per stretch of an input's rows that fell
// into it, in the order the merge reading one row of every input per pass hands them in (by the
// pass that ends the stretch, then by the input's place on the command line), however far ahead
// the inputs were actually read: the columns of the line and the sums of its real numbers follow
// that order. A bucket prints itself when its last holder lets it go: the records are combined
// across inputs, stamped with the END of the interval and written as CSV, with a header line
// only when the layout differs from the record printed before; or, given a RecordWriter, in the
// form that writer prints; then metrics, if any, takes in the line and its stretches.
#ifndef VEXIL_BUCKET_H
#define VEXIL_BUCKET_H

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "perflib"
#include "record_writer.h"

namespace vexil {

class MetricsExposition;

class Bucket {
 public:
  Bucket(std::int64_t time, int size, perflib::RecordPtr& last_printed);
  virtual ~Bucket();
  Bucket(const Bucket&) = delete;
  Bucket& operator=(const Bucket&) = delete;

  // Whether time t falls into this interval (remainder truncated toward zero).
  virtual bool should_contain(std::int64_t t);
  // Collapses r and keeps it for the output, after the records handed in before it.
  virtual void finish(perflib::RecordPtr r);
  // The same, for the stretch of input `input` (its place among all inputs) that its row number
  // `row` (from 1; one past its last at its end) ended.
  void finish(perflib::RecordPtr r, std::uint64_t row, std::size_t input);

  std::vector<perflib::RecordPtr> records;
  struct Order {
    std::uint64_t row;
    std::size_t input;
    auto operator<=>(const Order&) const = default;
  };
  std::vector<Order> order;  // of records
  std::int64_t time;         // start, a multiple of size
  int size;
  perflib::RecordPtr& last_printed;
  FILE* out;
  RecordWriter* writer = nullptr;        // none: the plain CSV of every column
  MetricsExposition* metrics = nullptr;  // told of the bucket once it is printed (--metrics-listen)
};

// Start of the interval of length size that holds t, truncating toward zero.
std::int64_t bucket_start(std::int64_t t, int size);

std::shared_ptr<Bucket> make_bucket(std::int64_t time, int size, perflib::RecordPtr& last_printed);

}  // namespace vexil

#endif
