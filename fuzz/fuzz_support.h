// SPDX-License-Identifier: Apache-2.0
// The harness shared by the fuzz targets: FUZZ_TARGET(text) { ... } defines the entry point
// around a body that gets each input as text, FUZZ_CHECK stops the fuzzer with a message, and the
// helpers below copy and split lines the way the parsers and their C-library references do.
#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#define FUZZ_CHECK(cond)                                                            \
  do {                                                                              \
    if (!(cond)) {                                                                  \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      std::abort();                                                                 \
    }                                                                               \
  } while (0)

namespace fuzz {

inline std::string_view as_text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// A header column with a non-numeric or out-of-range instance number ("thread_x.cpu_user")
// ends the tool through std::stoi's exception, by design; every other exception is a finding.
inline bool is_instance_number_error(const std::logic_error& e) {
  return std::string_view(e.what()) == "stoi";
}

inline int run_one(const std::uint8_t* data, std::size_t size, void (*body)(std::string_view)) {
  try {
    body(as_text(data, size));
  } catch (const std::logic_error& e) {
    if (!is_instance_number_error(e)) {
      throw;
    }
  }
  return 0;
}

// A NUL-terminated copy that the parsers may tokenise in place. Like a line from the C library's
// line reader, it may hold NUL bytes; the parsers see the text up to the first one.
class Line {
 public:
  explicit Line(std::string_view text) : bytes(text.begin(), text.end()) { bytes.push_back('\0'); }
  char* get() { return bytes.data(); }

 private:
  std::vector<char> bytes;
};

// The tokens strtok(line, ",\n") gives: the reference for the parsers' own splitting.
inline std::vector<std::string> reference_tokens(const char* line) {
  std::string copy(line);
  std::vector<std::string> tokens;
  char* saved = nullptr;
  for (char* t = strtok_r(copy.data(), ",\n", &saved); t; t = strtok_r(nullptr, ",\n", &saved)) {
    tokens.emplace_back(t);
  }
  return tokens;
}

inline FILE* null_output() {
  static FILE* out = std::fopen("/dev/null", "w");
  return out;
}

}  // namespace fuzz

#define FUZZ_TARGET(text)                                                             \
  static void fuzz_body(std::string_view text);                                       \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) { \
    return fuzz::run_one(data, size, fuzz_body);                                      \
  }                                                                                   \
  static void fuzz_body(std::string_view text)

#endif
