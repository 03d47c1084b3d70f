// SPDX-License-Identifier: Apache-2.0
#include "vexil_file.h"

#include "bucket_map.h"

namespace vexil {

VexilFile::VexilFile(const std::string& path, bool tail, BucketMap& map)
    : perflib::LogFile(path, tail), map(map) {}

VexilFile::~VexilFile() {
  if (current) {
    current->finish(std::move(pending));
  }
}

bool VexilFile::bucket_next() {
  perflib::RecordPtr r = read_next();
  if (!r) {
    return false;
  }
  const std::int64_t t = r->get_time();
  if (!current) {
    current = map[t];
  }
  if (!current->should_contain(t)) {
    // Later or earlier: either way the stretch in the current bucket is over.
    current->finish(std::move(pending));
    current = map[t];
    pending = std::move(r);
    return true;
  }
  if (!pending) {
    pending = std::move(r);
  } else {
    pending->single_instance_accumulate(r);
  }
  return true;
}

std::unique_ptr<VexilFile> make_file(const std::string& path, bool tail, BucketMap& map) {
  return std::make_unique<VexilFile>(path, tail, map);
}

}  // namespace vexil
