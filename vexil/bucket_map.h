// SPDX-License-Identifier: Apache-2.0
// The open time buckets, oldest first. A bucket is complete once every live input's latest
// record lies at or after its end; flush_ready then drops it from the map (which prints it, see
// Bucket). Buckets leave strictly from the oldest end: an incomplete oldest bucket holds back
// all later ones.
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

  std::map<std::int64_t, std::shared_ptr<Bucket>> buckets;
  Factory bucket_factory;
  int size;
  perflib::RecordPtr& last_printed;
};

}  // namespace vexil

#endif
