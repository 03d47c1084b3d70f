// SPDX-License-Identifier: Apache-2.0
#include "decoding_thread.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>

namespace perflib {

namespace {

// A thread that found the ring full resumes once RESUME_FREE of it is free again, so it decodes
// most of a ring in one go: a decoder that comes back to its stream after others ran finds the
// stream's history window gone from the processor's caches, which costs more than the decoding
// when the pieces are small (a 256 KiB ring resumed at half took 1.2 times the processor time of
// this one on 16 zstd files).
constexpr std::size_t RING_SIZE = 1024 * 1024;
constexpr std::size_t RESUME_FREE = RING_SIZE / 8 * 7;
// The most text one decode call writes, so the reader gets going early.
constexpr std::size_t CHUNK_SIZE = 64 * 1024;
constexpr std::size_t INPUT_SIZE = 64 * 1024;

}  // namespace

DecodingThread::DecodingThread(FilePtr source, std::unique_ptr<StreamDecoder> decoder,
                               const unsigned char* head, std::size_t head_size)
    : source(std::move(source)),
      decoder(std::move(decoder)),
      input(std::max(INPUT_SIZE, head_size)),
      head_size(head_size),
      ring(RING_SIZE) {
  std::memcpy(input.data(), head, head_size);
  worker = std::thread([this] { run(); });
}

DecodingThread::~DecodingThread() {
  {
    std::lock_guard<std::mutex> lock(mutex);
    closing = true;
  }
  released_cv.notify_one();
  worker.join();
}

ssize_t DecodingThread::read(char* buffer, std::size_t size) {
  std::unique_lock<std::mutex> lock(mutex);
  while (ring.unread() == 0) {
    if (finished) {
      if (failure.empty()) {
        return 0;
      }
      errno = EIO;
      return -1;
    }
    reader_waiting = true;
    written_cv.wait(lock);
    reader_waiting = false;
  }
  const std::size_t n = std::min(size, ring.read_run_size());
  const unsigned char* text = ring.read_run();
  lock.unlock();
  std::memcpy(buffer, text, n);  // the writer stays out of the run until it is released
  lock.lock();
  ring.consumed(n);
  if (writer_waiting && ring.free() >= RESUME_FREE) {
    released_cv.notify_one();
  }
  return static_cast<ssize_t>(n);
}

std::string DecodingThread::error() const {
  std::lock_guard<std::mutex> lock(mutex);
  return failure;
}

void DecodingThread::run() {
  // Nothing may leave the thread (that would end the process): every failure, memory running
  // out included, becomes the reason the reader is given. "out of memory" fits a string's own
  // room, so setting it allocates nothing.
  std::string reason;
  try {
    decode_all();
  } catch (const std::bad_alloc&) {
    reason = "out of memory";
  } catch (const std::exception& e) {
    try {
      reason = *e.what() != '\0' ? e.what() : "corrupt compressed data";
    } catch (const std::bad_alloc&) {
      reason = "out of memory";
    }
  } catch (...) {
    reason = "corrupt compressed data";
  }
  std::lock_guard<std::mutex> lock(mutex);
  failure = std::move(reason);
  finished = true;
  written_cv.notify_one();
}

void DecodingThread::decode_all() {
  DecodeBuffers b{input.data(), head_size, nullptr, 0};
  bool input_ended = false;
  for (;;) {
    if (b.in_size == 0 && !input_ended) {
      b.in = input.data();
      b.in_size = read_input();
      input_ended = b.in_size == 0;
    }
    if (!reserve(b)) {
      return;  // the reader is closing
    }
    const DecodeBuffers before = b;
    try {
      decoder->decode(b, input_ended);
    } catch (...) {
      publish(before.out_size - b.out_size);  // the text before the damage
      throw;
    }
    publish(before.out_size - b.out_size);
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

std::size_t DecodingThread::read_input() {
  const std::size_t n = std::fread(input.data(), 1, input.size(), source.get());
  if (n == 0 && std::ferror(source.get())) {
    throw std::runtime_error(std::strerror(errno));
  }
  return n;
}

// Sets b.out to the free run of the ring, once there is one; false when the reader is closing.
bool DecodingThread::reserve(DecodeBuffers& b) {
  std::unique_lock<std::mutex> lock(mutex);
  if (ring.free() == 0) {
    writer_waiting = true;
    released_cv.wait(lock, [this] { return closing || ring.free() >= RESUME_FREE; });
    writer_waiting = false;
  }
  if (closing) {
    return false;
  }
  b.out = ring.write_run();
  b.out_size = std::min(ring.write_run_size(), CHUNK_SIZE);
  return true;
}

void DecodingThread::publish(std::size_t size) {
  if (size == 0) {
    return;
  }
  std::lock_guard<std::mutex> lock(mutex);
  ring.wrote(size);
  if (reader_waiting) {
    written_cv.notify_one();
  }
}

}  // namespace perflib
