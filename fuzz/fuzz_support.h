// Helpers shared by the fuzz targets: writable copies of the input, the one kind of exception a
// run may end with on purpose, and a check that stops the fuzzer with a message.
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

namespace fuzz {

// A NUL-terminated copy that the parsers may tokenise in place. Like a line from the C library's
// line reader, it may hold NUL bytes; the parsers see the text up to the first one.
class Line {
 public:
  explicit Line(std::string_view text) : bytes(text.begin(), text.end()) { bytes.push_back('\0'); }
  char* get() { return bytes.data(); }

 private:
  std::vector<char> bytes;
};

inline std::string_view as_text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// A header column with a non-numeric or out-of-range instance number ("thread_x.cpu_user")
// ends the tool through std::stoi's exception, by design; every other exception is a finding.
inline bool is_instance_number_error(const std::logic_error& e) {
  return std::string_view(e.what()) == "stoi";
}

// The tokens strtok(line, ",\n") gives: the reference for the parsers' own splitting.
inline std::vector<std::string> reference_tokens(const char* line) {
  std::string copy(line);
  std::vector<std::string> tokens;
  char* saved = nullptr;
  for (char* t = strtok_r(copy.data(), ",\n", &saved); t != nullptr;
       t = strtok_r(nullptr, ",\n", &saved)) {
    tokens.emplace_back(t);
  }
  return tokens;
}

// Whether a file begins with a gzip, zstd or xz signature: it is read decompressed, and a
// damaged stream ends the run with a read error.
inline bool is_compressed(std::string_view content) {
  using namespace std::string_view_literals;
  for (std::string_view signature : {"\x1f\x8b"sv, "\x28\xb5\x2f\xfd"sv, "\xfd\x37zXZ\0"sv}) {
    if (content.substr(0, signature.size()) == signature) {
      return true;
    }
  }
  return false;
}

// The sink for everything the targets print.
inline FILE* null_output() {
  static FILE* out = std::fopen("/dev/null", "w");
  return out;
}

}  // namespace fuzz

// A property the code must keep; a violation stops the fuzzer as a crash, with the input saved.
#define FUZZ_CHECK(cond)                                                            \
  do {                                                                              \
    if (!(cond)) {                                                                  \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      std::abort();                                                                 \
    }                                                                               \
  } while (0)

#endif
