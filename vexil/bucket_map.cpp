// SPDX-License-Identifier: Apache-2.0
#include "bucket_map.h"

#include <algorithm>

namespace vexil {

BucketMap::BucketMap(Factory bucket_factory, int size, perflib::RecordPtr& last_printed)
    : bucket_factory(bucket_factory), size(size), last_printed(last_printed) {}

BucketMap::~BucketMap() {
  while (!buckets.empty()) {
    buckets.erase(buckets.begin());
  }
}

std::shared_ptr<Bucket>& BucketMap::operator[](const std::int64_t& time) {
  const std::int64_t key = bucket_start(time, size);
  auto it = buckets.lower_bound(key);
  if (it == buckets.end() || it->first != key) {
    it = buckets.emplace_hint(it, key, bucket_factory(key, size, last_printed));
    it->second->writer = writer;
    it->second->metrics = metrics;
  }
  return it->second;
}

namespace {

bool holds_back(const BucketMap::Files& files, std::int64_t end) {
  return std::any_of(files.begin(), files.end(),
                     [end](const auto& f) { return f->get_prev_time() < end; });
}

std::int64_t end_of(std::int64_t start, int size) {
  // Wrapping like unsigned arithmetic, as the bucket stamps it.
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(start)
                                   + static_cast<std::uint64_t>(size));
}

}  // namespace

void BucketMap::flush_ready(Files& files, Files& supplemental, bool ignore_supplemental) {
  while (!buckets.empty()) {
    auto oldest = buckets.begin();
    const std::int64_t end = end_of(oldest->first, size);
    if (holds_back(files, end) || (!ignore_supplemental && holds_back(supplemental, end))) {
      return;
    }
    printed_until = end;
    buckets.erase(oldest);  // the last handle prints it
  }
}

int BucketMap::flush_lagging(Files& files, std::int64_t newest, std::int64_t max_lag) {
  int printed = 0;
  for (; !buckets.empty(); ++printed) {
    auto oldest = buckets.begin();
    const std::int64_t end = end_of(oldest->first, size);
    if (newest <= end
        || static_cast<std::uint64_t>(newest) - static_cast<std::uint64_t>(end)
               <= static_cast<std::uint64_t>(max_lag)
        || std::any_of(files.begin(), files.end(), [end](const auto& f) {
             return f->get_prev_time() < end && !f->would_block();
           })) {
      break;
    }
    for (const auto& f : files) {
      if (f->get_prev_time() < end) {
        f->fall_behind(end);  // lets go of the bucket too
      }
    }
    printed_until = end;
    buckets.erase(oldest);
  }
  return printed;
}

}  // namespace vexil
