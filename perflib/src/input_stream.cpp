// SPDX-License-Identifier: Apache-2.0
#include "input_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <stdexcept>
#include <system_error>

namespace perflib {

namespace {

ssize_t read_cookie(void* cookie, char* buffer, std::size_t size) {
  return static_cast<DecodingThread*>(cookie)->read(buffer, size);
}

// The bytes at the start of a file: as many as a signature needs, fewer only at its end.
std::string read_head(int fd) {
  std::string head(SIGNATURE_SIZE, '\0');
  std::size_t size = 0;
  while (size < head.size()) {
    const ssize_t n = ::read(fd, head.data() + size, head.size() - size);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      break;  // a read error shows again when the reader reads on
    }
    size += static_cast<std::size_t>(n);
  }
  head.resize(size);
  return head;
}

}  // namespace

InputStream open_input_stream(const std::string& path) {
  InputStream result;
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return result;
  }
  FilePtr file(fdopen(fd, "r"));
  if (!file) {
    const int reason = errno;
    ::close(fd);
    errno = reason;
    return result;
  }
  // The reader reads the descriptor itself, in large blocks; the stream buffers nothing, so its
  // position (ftello) is the descriptor's.
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  result.head = read_head(fd);
  const auto* head = reinterpret_cast<const unsigned char*>(result.head.data());
  std::unique_ptr<DecodingThread> decoding;
  try {
    std::unique_ptr<StreamDecoder> decoder = make_decoder(head, result.head.size());
    if (!decoder) {
      result.file = file.release();
      return result;
    }
    decoding = std::make_unique<DecodingThread>(std::move(file), std::move(decoder), head,
                                                result.head.size());
  } catch (const std::system_error& e) {  // no thread to be had
    throw std::runtime_error("File read error: " + path + ": no thread to decompress it ("
                             + e.code().message() + ")");
  } catch (const std::bad_alloc&) {
    throw std::runtime_error("File read error: " + path + ": out of memory");
  }
  result.head.clear();
  result.file = fopencookie(decoding.get(), "r", {read_cookie, nullptr, nullptr, nullptr});
  if (result.file != nullptr) {
    result.decoding = std::move(decoding);
  }
  return result;
}

}  // namespace perflib
