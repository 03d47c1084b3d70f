// SPDX-License-Identifier: Apache-2.0
// The open time buckets, oldest first. A bucket is complete once every live input's latest
// record lies at or after its end; flush_ready then drops it from the map (which prints it, see
// Bucket). Buckets leave strictly from the oldest end: an incomplete oldest bucket holds back
// all later ones.
//
// With a lag limit a bucket also leaves once a row read from some input lies more than the limit
// past its end, provided every input that holds it back has nothing more to read for now: an
// input with complete lines still unread (a log read from its start) is read first, never left
// out.
#ifndef VEXIL_BUCKET_MAP_H
#define VEXIL_BUCKET_MAP_H

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "bucket.h"
#include "perflib"
#include "vexil_file.h"

namespace vexil {

class BucketMap {
 public:
  using Factory = std::shared_ptr<Bucket> (*)(std::int64_t, int, perflib::RecordPtr&);
  using Files = std::vector<std::unique_ptr<VexilFile>>;

  BucketMap(Factory bucket_factory, int size, perflib::RecordPtr& last_printed);
  virtual ~BucketMap();  // prints the remaining buckets, oldest first
  BucketMap(const BucketMap&) = delete;
  BucketMap& operator=(const BucketMap&) = delete;

  // The bucket whose interval holds time, made on first use.
  virtual std::shared_ptr<Bucket>& operator[](const std::int64_t& time);
  // Prints and removes, oldest first, every bucket that all inputs have passed. Supplemental
  // inputs are not waited for when ignore_supplemental is set (tail mode).
  virtual void flush_ready(Files& files, Files& supplemental, bool ignore_supplemental);
  // Then, oldest first, every bucket newest (the time the inputs have reached) lies more than
  // max_lag past, when each input that holds it back is waiting for its file: those fall behind.
  // Returns how many buckets it printed.
  int flush_lagging(Files& files, std::int64_t newest, std::int64_t max_lag);

  std::map<std::int64_t, std::shared_ptr<Bucket>> buckets;
  Factory bucket_factory;
  int size;
  perflib::RecordPtr& last_printed;
  RecordWriter* writer = nullptr;        // given to each bucket made
  MetricsExposition* metrics = nullptr;  // the same
  // End of the last bucket that left the map; a row before it is late.
  std::int64_t printed_until = INT64_MIN;
};

}  // namespace vexil

#endif
