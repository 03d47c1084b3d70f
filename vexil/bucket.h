// SPDX-License-Identifier: Apache-2.0
// One time interval of the merge: one combined record per stretch of an input's rows that fell
// into it. A bucket prints itself when its last holder lets it go: the records are combined
// across inputs, stamped with the END of the interval and written as CSV, with a header line
// only when the layout differs from the record printed before; or, given a RecordWriter, in the
// form that writer prints.
#ifndef VEXIL_BUCKET_H
#define VEXIL_BUCKET_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "perflib"
#include "record_writer.h"

namespace vexil {

class Bucket {
 public:
  Bucket(std::int64_t time, int size, perflib::RecordPtr& last_printed);
  virtual ~Bucket();
  Bucket(const Bucket&) = delete;
  Bucket& operator=(const Bucket&) = delete;

  // Whether time t falls into this interval (remainder truncated toward zero).
  virtual bool should_contain(std::int64_t t);
  // Collapses r and keeps it for the output.
  virtual void finish(perflib::RecordPtr r);

  std::vector<perflib::RecordPtr> records;
  std::int64_t time;  // start, a multiple of size
  int size;
  perflib::RecordPtr& last_printed;
  FILE* out;
  RecordWriter* writer = nullptr;  // none: the plain CSV of every column
};

// Start of the interval of length size that holds t, truncating toward zero.
std::int64_t bucket_start(std::int64_t t, int size);

std::shared_ptr<Bucket> make_bucket(std::int64_t time, int size, perflib::RecordPtr& last_printed);

}  // namespace vexil

#endif
