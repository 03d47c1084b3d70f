// SPDX-License-Identifier: Apache-2.0
// The reader of compressed files: the input is a file's content, opened by path as a LogFile
// opens it. Its text is read to the end, or to a bound for inputs that expand a lot, and the
// stream closed, perhaps while its thread is still decompressing ahead.
//
// Checked: a file without a compressed signature reads back byte for byte; a compressed one ends
// either cleanly or with a read error that gives a reason; a LogFile over it ends or throws only
// "File read error: PATH: REASON".
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz_support.h"
#include "input_stream.h"
#include "perflib"

namespace {

constexpr std::size_t TEXT_LIMIT = 4 << 20;
constexpr int RECORD_LIMIT = 1000;

int memory_file = -1;
std::string path;

void write_input(const std::uint8_t* data, std::size_t size) {
  FUZZ_CHECK(ftruncate(memory_file, 0) == 0);
  FUZZ_CHECK(pwrite(memory_file, data, size, 0) == static_cast<ssize_t>(size));
}

// Reads the text through the stream; checks how it ends.
void read_text(std::string_view content) {
  perflib::InputStream in = perflib::open_input_stream(path);
  FUZZ_CHECK(in.file != nullptr);
  std::string text = in.head;
  char buffer[8192];
  for (ssize_t n; text.size() < TEXT_LIMIT
                  && (n = in.decoding ? std::fread(buffer, 1, sizeof buffer, in.file)
                                      : read(fileno(in.file), buffer, sizeof buffer))
                         > 0;) {
    text.append(buffer, static_cast<std::size_t>(n));
  }
  if (!in.decoding) {
    FUZZ_CHECK(text == content);
  } else if (std::ferror(in.file)) {
    FUZZ_CHECK(!in.decoding->error().empty());
  }
  std::fclose(in.file);
}

void read_records() {
  try {
    perflib::LogFile file(path, false);
    for (int i = 0; i < RECORD_LIMIT && file.read_next(); ++i) {
    }
  } catch (const std::runtime_error& e) {
    const std::string expected = "File read error: " + path + ": ";
    FUZZ_CHECK(std::string_view(e.what()).substr(0, expected.size()) == expected);
  } catch (const std::logic_error& e) {
    if (!fuzz::is_instance_number_error(e)) {
      throw;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  memory_file = memfd_create("decompress-fuzz", 0);
  FUZZ_CHECK(memory_file >= 0);
  path = "/proc/self/fd/" + std::to_string(memory_file);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  write_input(data, size);
  read_text(fuzz::as_text(data, size));
  read_records();
  return 0;
}
