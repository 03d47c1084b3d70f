#include "decompressing_stream.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "stream_decoder.h"

namespace perflib {

namespace {

// Larger than the C library's default, so a file is read in few system calls.
constexpr std::size_t STREAM_BUFFER_SIZE = 64 * 1024;
// Decompressed text runs ahead of the reader by at most BLOCK_COUNT blocks. A decoding thread
// that found them all in use resumes once half of them are free again, so it wakes seldom and
// decodes several blocks in one go.
constexpr std::size_t BLOCK_SIZE = 64 * 1024;
constexpr std::size_t BLOCK_COUNT = 8;
constexpr std::size_t RESUME_AT = BLOCK_COUNT / 2;  // blocks still in use
constexpr std::size_t INPUT_SIZE = 64 * 1024;

struct FileCloser {
  void operator()(FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

// The decompressed text of one compressed file. The decoding thread fills the blocks in turn and
// publishes each (filled counts them); the reader copies out of the oldest one and releases it
// once it is used up (drained counts those). The thread waits when every block is published and
// not yet released, the reader while none is; nothing else is shared.
class DecompressingStream {
 public:
  DecompressingStream(FilePtr source, std::unique_ptr<StreamDecoder> decoder,
                      const unsigned char* head, std::size_t head_size,
                      std::shared_ptr<std::string> error)
      : source(std::move(source)),
        decoder(std::move(decoder)),
        input(INPUT_SIZE),
        head_size(head_size),
        blocks(new unsigned char[BLOCK_COUNT * BLOCK_SIZE]),
        error(std::move(error)) {
    std::memcpy(input.data(), head, head_size);
    worker = std::thread([this] { run(); });
  }
  ~DecompressingStream() {
    {
      std::lock_guard<std::mutex> lock(mutex);
      closing = true;
    }
    drained_cv.notify_one();
    worker.join();
  }
  DecompressingStream(const DecompressingStream&) = delete;
  DecompressingStream& operator=(const DecompressingStream&) = delete;

  // The read function of the stream: up to size bytes, 0 at the end, -1 (EIO) when decompression
  // failed, once all text decompressed before the failure has been read.
  ssize_t read(char* buffer, std::size_t size) {
    if (left == 0 && !take_block()) {
      if (failure.empty()) {
        return 0;
      }
      *error = failure;
      errno = EIO;
      return -1;
    }
    const std::size_t n = std::min(size, left);
    std::memcpy(buffer, current, n);
    current += n;
    left -= n;
    return static_cast<ssize_t>(n);
  }

 private:
  // Reader: releases the block it holds and waits for the next; false when there is none.
  bool take_block() {
    std::unique_lock<std::mutex> lock(mutex);
    if (holding) {
      ++drained;
      holding = false;
      if (filled - drained == RESUME_AT) {
        drained_cv.notify_one();
      }
    }
    filled_cv.wait(lock, [this] { return filled > drained || finished; });
    if (filled == drained) {
      return false;
    }
    const std::size_t index = drained % BLOCK_COUNT;
    current = blocks.get() + index * BLOCK_SIZE;
    left = sizes[index];
    holding = true;
    return true;
  }

  void run() {
    std::string reason;
    try {
      decode_all();
    } catch (const std::exception& e) {
      reason = e.what();
    }
    std::lock_guard<std::mutex> lock(mutex);
    failure = reason;
    finished = true;
    filled_cv.notify_one();
  }

  void decode_all() {
    DecodeBuffers b{input.data(), head_size, nullptr, 0};
    bool input_ended = false;
    unsigned char* block = nullptr;
    for (;;) {
      if (b.in_size == 0 && !input_ended) {
        b.in = input.data();
        b.in_size = read_input();
        input_ended = b.in_size == 0;
      }
      if (block == nullptr) {
        if ((block = free_block()) == nullptr) {
          return;  // the reader closed the stream
        }
        b.out = block;
        b.out_size = BLOCK_SIZE;
      }
      const DecodeBuffers before = b;
      try {
        decoder->decode(b, input_ended);
      } catch (...) {
        publish(static_cast<std::size_t>(b.out - block));  // the text before the damage
        throw;
      }
      if (b.out_size == 0) {
        publish(BLOCK_SIZE);
        block = nullptr;
      } else if (b.in_size == before.in_size && b.out_size == before.out_size) {
        // Stuck: input is left that the decoder takes no more of, or it has all been read.
        publish(static_cast<std::size_t>(b.out - block));
        if (b.in_size != 0) {
          throw std::runtime_error("corrupt compressed data");
        }
        if (!decoder->at_end()) {
          throw std::runtime_error("unexpected end of compressed data");
        }
        return;
      }
    }
  }

  std::size_t read_input() {
    const std::size_t n = std::fread(input.data(), 1, input.size(), source.get());
    if (n == 0 && std::ferror(source.get())) {
      throw std::runtime_error(std::strerror(errno));
    }
    return n;
  }

  // Decoding thread: the block to fill next, once the reader has released it; nullptr when the
  // reader is closing the stream.
  unsigned char* free_block() {
    std::unique_lock<std::mutex> lock(mutex);
    if (filled - drained == BLOCK_COUNT) {
      drained_cv.wait(lock, [this] { return closing || filled - drained <= RESUME_AT; });
    }
    return closing ? nullptr : blocks.get() + (filled % BLOCK_COUNT) * BLOCK_SIZE;
  }

  void publish(std::size_t size) {
    if (size == 0) {
      return;
    }
    std::lock_guard<std::mutex> lock(mutex);
    sizes[filled % BLOCK_COUNT] = size;
    ++filled;
    filled_cv.notify_one();
  }

  FilePtr source;
  std::unique_ptr<StreamDecoder> decoder;
  std::vector<unsigned char> input;
  std::size_t head_size;  // bytes at the start of input read to recognise the format
  std::unique_ptr<unsigned char[]> blocks;
  std::size_t sizes[BLOCK_COUNT] = {};
  std::shared_ptr<std::string> error;

  std::mutex mutex;
  std::condition_variable filled_cv;
  std::condition_variable drained_cv;
  std::uint64_t filled = 0;
  std::uint64_t drained = 0;
  bool finished = false;
  bool closing = false;
  std::string failure;  // written before finished is set

  // The reader's own: the rest of the block it holds.
  const unsigned char* current = nullptr;
  std::size_t left = 0;
  bool holding = false;

  std::thread worker;  // last: it starts once everything above is in place
};

ssize_t read_cookie(void* cookie, char* buffer, std::size_t size) {
  return static_cast<DecompressingStream*>(cookie)->read(buffer, size);
}

int close_cookie(void* cookie) {
  delete static_cast<DecompressingStream*>(cookie);
  return 0;
}

// Puts back the bytes read to recognise the format, so a plain file reads from its first byte.
// They are still in the stream's buffer, where the C library's ungetc steps back over them.
void unread(FILE* file, const unsigned char* head, std::size_t size) {
  for (std::size_t i = size; i-- > 0;) {
    std::ungetc(head[i], file);
  }
  if (size == 0 && !std::ferror(file)) {
    std::clearerr(file);  // empty for now: a file followed in tail mode may still grow
  }
}

}  // namespace

InputStream open_input_stream(const std::string& path) {
  InputStream result;
  FilePtr file(std::fopen(path.c_str(), "r"));
  if (!file) {
    return result;
  }
  std::setvbuf(file.get(), nullptr, _IOFBF, STREAM_BUFFER_SIZE);  // before the first read
  unsigned char head[SIGNATURE_SIZE];
  const std::size_t size = std::fread(head, 1, sizeof head, file.get());
  std::unique_ptr<StreamDecoder> decoder = make_decoder(head, size);
  if (!decoder) {
    unread(file.get(), head, size);
    result.file = file.release();
    return result;
  }
  auto error = std::make_shared<std::string>();
  auto stream =
      std::make_unique<DecompressingStream>(std::move(file), std::move(decoder), head, size, error);
  result.file = fopencookie(stream.get(), "r", {read_cookie, nullptr, nullptr, close_cookie});
  if (result.file == nullptr) {
    return result;
  }
  static_cast<void>(stream.release());  // from here on, closing the stream deletes it
  result.compressed = true;
  result.error = [error] { return *error; };
  return result;
}

}  // namespace perflib
