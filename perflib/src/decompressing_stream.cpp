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
// Decompressed text runs ahead of the reader by at most the ring's size. A decoding thread that
// found the ring full resumes once half of it is free again, so it wakes seldom and decodes much
// in one go: switching between the files of a merge costs more than decoding when the pieces are
// small.
constexpr std::size_t RING_SIZE = 512 * 1024;
constexpr std::size_t CHUNK_SIZE = 64 * 1024;  // the most one decode call or read takes
constexpr std::size_t INPUT_SIZE = 64 * 1024;

struct FileCloser {
  void operator()(FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

// The decompressed text of one compressed file, in a ring. Positions count bytes from the start
// of the text, gaps included: at position p, the ring holds byte p % capacity. The decoding thread
// writes from position written on; where a decode call needs more room than is left before the
// end of the ring, it leaves the rest of that lap empty (a gap) and goes on at the start of the
// next lap. The reader reads from position read_at on and gives back, in released, what it is done
// with. The thread waits while the ring is full, the reader while it has read all that is written.
class DecompressingStream {
 public:
  DecompressingStream(FilePtr source, std::unique_ptr<StreamDecoder> decoder,
                      const unsigned char* head, std::size_t head_size,
                      std::shared_ptr<std::string> error)
      : source(std::move(source)),
        decoder(std::move(decoder)),
        input(INPUT_SIZE),
        head_size(head_size),
        error(std::move(error)) {
    std::memcpy(input.data(), head, head_size);
    worker = std::thread([this] { run(); });
  }
  ~DecompressingStream() {
    {
      std::lock_guard<std::mutex> lock(mutex);
      closing = true;
    }
    released_cv.notify_one();
    worker.join();
  }
  DecompressingStream(const DecompressingStream&) = delete;
  DecompressingStream& operator=(const DecompressingStream&) = delete;

  // The read function of the stream: up to size bytes, 0 at the end, -1 (EIO) when decompression
  // failed, once all text decompressed before the failure has been read.
  ssize_t read(char* buffer, std::size_t size) {
    if (left == 0 && !take_text()) {
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
  // A gap: lap (plus one, so that zero means none) and the position where its text ended.
  struct Gap {
    std::uint64_t lap_plus_one = 0;
    std::uint64_t from = 0;
  };

  // Reader: gives back what it read (and any gap it skipped) and takes the next piece of text;
  // false at the end.
  bool take_text() {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
      released = read_at;
      if (waiting_for != 0 && free_space() >= waiting_for) {
        released_cv.notify_one();
      }
      const std::uint64_t lap = read_at / capacity;
      const Gap& gap = gaps[lap % 2];
      const std::uint64_t lap_end = gap.lap_plus_one == lap + 1 ? gap.from : (lap + 1) * capacity;
      const std::uint64_t end = std::min(written, lap_end);
      if (end > read_at) {
        left = static_cast<std::size_t>(std::min<std::uint64_t>(end - read_at, CHUNK_SIZE));
        current = ring.get() + read_at % capacity;
        read_at += left;
        return true;
      }
      if (written > read_at) {
        read_at = (lap + 1) * capacity;  // past the gap
      } else if (finished) {
        return false;
      } else {
        written_cv.wait(lock);
      }
    }
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
    written_cv.notify_one();
  }

  void decode_all() {
    DecodeBuffers b{input.data(), head_size, nullptr, 0};
    bool input_ended = false;
    for (;;) {
      if (b.in_size == 0 && !input_ended) {
        b.in = input.data();
        b.in_size = read_input();
        input_ended = b.in_size == 0;
      }
      if (b.out_size < decoder->room() || capacity < decoder->ring_size()) {
        if (!reserve(b)) {
          return;  // the reader closed the stream
        }
      }
      const DecodeBuffers before = b;
      try {
        decoder->decode(b, input_ended);
      } catch (...) {
        publish(before, b);  // the text before the damage
        throw;
      }
      publish(before, b);
      if (b.in_size == before.in_size && b.out_size == before.out_size) {
        // Stuck: input is left that the decoder takes no more of, or it has all been read.
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

  // Decoding thread: sets b.out to the room for the next decode call, once the reader has freed
  // it; false when the reader is closing the stream.
  bool reserve(DecodeBuffers& b) {
    const std::size_t need = decoder->room();
    std::unique_lock<std::mutex> lock(mutex);
    if (capacity < decoder->ring_size()) {
      // A frame that needs a larger ring: once the reader has read everything, start a new one.
      waiting_for = capacity;
      released_cv.wait(lock, [this] { return closing || released == written; });
      waiting_for = 0;
      if (closing) {
        return false;
      }
      std::size_t size = std::max(RING_SIZE, decoder->ring_size());
      ring.reset(new unsigned char[size]);
      capacity = size;
      gaps[0] = gaps[1] = Gap{};  // their laps were counted in the old size
      skip_to_next_lap();
    }
    std::size_t offset = written % capacity;
    if (capacity - offset < need) {
      skip_to_next_lap();
      offset = 0;
    }
    if (free_space() < need) {
      waiting_for = std::max(need, capacity / 2);
      released_cv.wait(lock, [this] { return closing || free_space() >= waiting_for; });
      waiting_for = 0;
      if (closing) {
        return false;
      }
    }
    const std::size_t free = free_space();
    b.out = ring.get() + offset;
    b.out_size = std::min({free, capacity - offset, std::max(need, CHUNK_SIZE)});
    return true;
  }

  // The bytes the decoding thread may write; a gap left before the reader reached it counts as
  // text not yet read, so this can be 0 with the writer a whole lap ahead. Under the lock.
  std::size_t free_space() const {
    const std::uint64_t ahead = written - released;
    return ahead >= capacity ? 0 : capacity - static_cast<std::size_t>(ahead);
  }

  // Leaves the rest of this lap empty; the caller holds the lock.
  void skip_to_next_lap() {
    const std::uint64_t lap = written / capacity;
    if (written % capacity != 0) {
      gaps[lap % 2] = Gap{lap + 1, written};
      written = (lap + 1) * capacity;
      written_cv.notify_one();  // a reader waiting at the gap can pass it, and free its room
    }
  }

  // Publishes the text the last decode call wrote.
  void publish(const DecodeBuffers& before, const DecodeBuffers& after) {
    const std::size_t size = before.out_size - after.out_size;
    if (size == 0) {
      return;
    }
    std::lock_guard<std::mutex> lock(mutex);
    written += size;
    written_cv.notify_one();
  }

  FilePtr source;
  std::unique_ptr<StreamDecoder> decoder;
  std::vector<unsigned char> input;
  std::size_t head_size;  // bytes at the start of input read to recognise the format
  std::shared_ptr<std::string> error;

  std::mutex mutex;
  std::condition_variable written_cv;
  std::condition_variable released_cv;
  std::unique_ptr<unsigned char[]> ring{new unsigned char[RING_SIZE]};
  std::size_t capacity = RING_SIZE;
  Gap gaps[2];                  // of the reader's lap and the next
  std::uint64_t written = 0;    // position after the last text written
  std::uint64_t released = 0;   // position before which the reader is done
  std::size_t waiting_for = 0;  // free bytes the decoding thread waits for, 0 when not waiting
  bool finished = false;
  bool closing = false;
  std::string failure;  // written before finished is set

  // The reader's own: the rest of the text it holds, and where it goes on.
  const unsigned char* current = nullptr;
  std::size_t left = 0;
  std::uint64_t read_at = 0;

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
  std::setvbuf(result.file, nullptr, _IOFBF, STREAM_BUFFER_SIZE);
  result.compressed = true;
  result.error = [error] { return *error; };
  return result;
}

}  // namespace perflib
