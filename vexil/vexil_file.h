// SPDX-License-Identifier: Apache-2.0
// One input of the merge: a log reader that folds its consecutive rows of one time bucket into
// one pending record and hands it to that bucket when its rows move on to another bucket.
#ifndef VEXIL_VEXIL_FILE_H
#define VEXIL_VEXIL_FILE_H

#include <memory>
#include <string>

#include "bucket.h"
#include "perflib"

namespace vexil {

class BucketMap;

class VexilFile : public perflib::LogFile {
 public:
  // Throws std::runtime_error "Unable to open file: <path>".
  VexilFile(const std::string& path, bool tail, BucketMap& map);
  ~VexilFile() override;  // the last pending record still reaches its bucket

  // Reads one record and places it; false at the end of the input.
  virtual bool bucket_next();

  perflib::RecordPtr pending;
  std::shared_ptr<Bucket> current;
  BucketMap& map;
};

std::unique_ptr<VexilFile> make_file(const std::string& path, bool tail, BucketMap& map);

}  // namespace vexil

#endif
