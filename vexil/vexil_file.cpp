#include "vexil_file.h"

#include <cstdio>
#include <ctime>

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
  place(std::move(r));
  return true;
}

VexilFile::Step VexilFile::bucket_next_ready(bool drop_late) {
  perflib::RecordPtr r = read_next_ready();
  if (!r) {
    return would_block() ? kWaiting : kEnded;
  }
  if (drop_late && r->get_time() < map.printed_until) {
    late_rows += lagging ? 1 : 0;
    return kRead;
  }
  if (lagging) {
    std::fprintf(stderr, "vexil: %s: caught up; %lld %s for buckets already printed %s dropped\n",
                 name.c_str(), static_cast<long long>(late_rows), late_rows == 1 ? "row" : "rows",
                 late_rows == 1 ? "was" : "were");
    lagging = false;
    late_rows = 0;
  }
  place(std::move(r));
  return kRead;
}

void VexilFile::fall_behind(std::int64_t end) {
  if (current && current->time < end) {
    current->finish(std::move(pending));
    current.reset();
  }
  if (!lagging) {
    std::fprintf(stderr, "vexil: %s: no row past %s; merging without it\n", name.c_str(),
                 utc_time_of_day(end).c_str());
    lagging = true;
  }
}

void VexilFile::place(perflib::RecordPtr r) {
  const std::int64_t t = r->get_time();
  if (!current) {
    current = map[t];
  }
  if (!current->should_contain(t)) {
    // Later or earlier: either way the stretch in the current bucket is over.
    current->finish(std::move(pending));
    current = map[t];
    pending = std::move(r);
    return;
  }
  if (!pending) {
    pending = std::move(r);
  } else {
    pending->single_instance_accumulate(r);
  }
}

std::string utc_time_of_day(std::int64_t t) {
  const auto seconds = static_cast<std::time_t>(t);
  std::tm utc{};
  char text[16] = "??:??:??Z";
  if (gmtime_r(&seconds, &utc) != nullptr) {
    std::strftime(text, sizeof text, "%H:%M:%SZ", &utc);
  }
  return text;
}

std::unique_ptr<VexilFile> make_file(const std::string& path, bool tail, BucketMap& map) {
  return std::make_unique<VexilFile>(path, tail, map);
}

}  // namespace vexil
