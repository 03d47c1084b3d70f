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
  }
  return it->second;
}

namespace {

bool holds_back(const BucketMap::Files& files, std::int64_t end) {
  return std::any_of(files.begin(), files.end(),
                     [end](const auto& f) { return f->get_prev_time() < end; });
}

}  // namespace

void BucketMap::flush_ready(Files& files, Files& supplemental, bool ignore_supplemental) {
  while (!buckets.empty()) {
    auto oldest = buckets.begin();
    const auto end = static_cast<std::int64_t>(static_cast<std::uint64_t>(oldest->first)
                                               + static_cast<std::uint64_t>(size));
    if (holds_back(files, end) || (!ignore_supplemental && holds_back(supplemental, end))) {
      return;
    }
    buckets.erase(oldest);  // the last handle prints it
  }
}

}  // namespace vexil
