// SPDX-License-Identifier: Apache-2.0
#include "stream_decoder.h"

#include <isa-l/igzip_lib.h>
#include <lzma.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace perflib {

namespace {

// The most history a stream may ask for: xz -9 needs 65 MiB, and zstd's own default limit on
// its window is the same 128 MiB. A stream that asks for more is refused rather than allocated.
constexpr std::uint64_t HISTORY_LIMIT = 128 << 20;
constexpr int HISTORY_LOG_LIMIT = 27;
static_assert(HISTORY_LIMIT == std::uint64_t{1} << HISTORY_LOG_LIMIT);

// Moves both buffers past what a decode call consumed and produced.
void advance(DecodeBuffers& b, std::size_t consumed, std::size_t produced) {
  b.in += consumed;
  b.in_size -= consumed;
  b.out += produced;
  b.out_size -= produced;
}

std::uint32_t clamp32(std::size_t size) {
  return static_cast<std::uint32_t>(std::min<std::size_t>(size, UINT32_MAX));
}

// gzip through the inflate of the storage acceleration library, which decodes deflate about
// twice as fast as zlib does; the gzip header and trailer (CRC and length) are checked.
class GzipDecoder : public StreamDecoder {
 public:
  GzipDecoder() { start_member(); }

  void decode(DecodeBuffers& b, bool /*input_ended*/) override {
    if (at_end()) {
      if (b.in_size == 0) {
        return;
      }
      if (padding || b.in[0] == 0) {
        skip_padding(b);
        return;
      }
      start_member();  // the next member of a concatenation
    }
    state.next_in = const_cast<std::uint8_t*>(b.in);
    state.avail_in = clamp32(b.in_size);
    state.next_out = b.out;
    state.avail_out = clamp32(b.out_size);
    const int result = isal_inflate(&state);
    advance(b, clamp32(b.in_size) - state.avail_in, clamp32(b.out_size) - state.avail_out);
    if (result < 0) {
      throw std::runtime_error(error_text(result));
    }
  }

  bool at_end() const override { return padding || state.block_state == ISAL_BLOCK_FINISH; }

 private:
  // Zero bytes after the last member, as a tape or an archiver pads a file to its block size;
  // anything else after them is not gzip data.
  void skip_padding(DecodeBuffers& b) {
    padding = true;
    const auto* data = b.in;
    const auto* end = b.in + b.in_size;
    const auto* text = std::find_if(data, end, [](unsigned char c) { return c != 0; });
    advance(b, static_cast<std::size_t>(text - data), 0);
    if (text != end) {
      throw std::runtime_error(error_text(ISAL_INVALID_WRAPPER));
    }
  }

  void start_member() {
    isal_inflate_init(&state);
    state.crc_flag = ISAL_GZIP;
  }

  static std::string error_text(int result) {
    switch (result) {
      case ISAL_INCORRECT_CHECKSUM:
        return "corrupt gzip data (checksum mismatch)";
      case ISAL_INVALID_WRAPPER:
        return "corrupt gzip data (bad member header)";
      case ISAL_UNSUPPORTED_METHOD:
        return "unsupported gzip compression method";
      default:
        return "corrupt gzip data";
    }
  }

  inflate_state state;
  bool padding = false;
};

// zstd through the library's streaming interface, which keeps the frame's window itself.
class ZstdDecoder : public StreamDecoder {
 public:
  ZstdDecoder() : context(ZSTD_createDStream()) {
    if (context == nullptr) {
      throw std::bad_alloc();
    }
    // The library's own default, set here so the limit and the message below stay together.
    check(ZSTD_DCtx_setParameter(context, ZSTD_d_windowLogMax, HISTORY_LOG_LIMIT));
  }
  ~ZstdDecoder() override { ZSTD_freeDStream(context); }
  ZstdDecoder(const ZstdDecoder&) = delete;
  ZstdDecoder& operator=(const ZstdDecoder&) = delete;

  void decode(DecodeBuffers& b, bool /*input_ended*/) override {
    ZSTD_inBuffer in{b.in, b.in_size, 0};
    ZSTD_outBuffer out{b.out, b.out_size, 0};
    const std::size_t result = ZSTD_decompressStream(context, &out, &in);
    advance(b, in.pos, out.pos);
    check(result);
    if (in.pos > 0 || out.pos > 0) {
      frame_done = result == 0;  // 0: a frame is complete and all its text delivered
    }
  }

  bool at_end() const override { return frame_done; }

 private:
  static void check(std::size_t result) {
    if (!ZSTD_isError(result)) {
      return;
    }
    if (ZSTD_getErrorCode(result) == ZSTD_error_frameParameter_windowTooLarge) {
      throw std::runtime_error("zstd data needs more than 128 MiB of memory to decode");
    }
    throw std::runtime_error(std::string("corrupt zstd data (") + ZSTD_getErrorName(result) + ")");
  }

  ZSTD_DStream* context;
  bool frame_done = false;
};

class XzDecoder : public StreamDecoder {
 public:
  XzDecoder() {
    if (lzma_stream_decoder(&stream, HISTORY_LIMIT, LZMA_CONCATENATED) != LZMA_OK) {
      throw std::bad_alloc();
    }
  }
  ~XzDecoder() override { lzma_end(&stream); }
  XzDecoder(const XzDecoder&) = delete;
  XzDecoder& operator=(const XzDecoder&) = delete;

  void decode(DecodeBuffers& b, bool input_ended) override {
    stream.next_in = b.in;
    stream.avail_in = b.in_size;
    stream.next_out = b.out;
    stream.avail_out = b.out_size;
    // With concatenated streams the decoder knows the end only when told that no input follows.
    const lzma_ret result = lzma_code(&stream, input_ended ? LZMA_FINISH : LZMA_RUN);
    advance(b, b.in_size - stream.avail_in, b.out_size - stream.avail_out);
    switch (result) {
      case LZMA_OK:
        return;
      case LZMA_STREAM_END:
        ended = true;
        return;
      case LZMA_BUF_ERROR:
        throw std::runtime_error("unexpected end of compressed data");
      case LZMA_MEM_ERROR:
        throw std::bad_alloc();
      case LZMA_MEMLIMIT_ERROR:
        throw std::runtime_error("xz data needs more than 128 MiB of memory to decode");
      default:
        throw std::runtime_error("corrupt xz data");
    }
  }

  bool at_end() const override { return ended; }

 private:
  lzma_stream stream = LZMA_STREAM_INIT;
  bool ended = false;
};

bool starts_with(const unsigned char* head, std::size_t size, const char* signature,
                 std::size_t length) {
  return size >= length && std::memcmp(head, signature, length) == 0;
}

// A zstd skippable frame: a magic number from 0x184D2A50 to 0x184D2A5F, little-endian, and data
// the decoder passes over. A parallel compressor starts its file with one, which tells where its
// first frame ends; the decoder skips such frames wherever they come in the stream.
bool starts_with_skippable_frame(const unsigned char* head, std::size_t size) {
  return size >= 4 && (head[0] & 0xf0) == 0x50
         && starts_with(head + 1, size - 1, "\x2a\x4d\x18", 3);
}

}  // namespace

std::unique_ptr<StreamDecoder> make_decoder(const unsigned char* head, std::size_t size) {
  if (starts_with(head, size, "\x1f\x8b", 2)) {
    return std::make_unique<GzipDecoder>();
  }
  if (starts_with(head, size, "\x28\xb5\x2f\xfd", 4) || starts_with_skippable_frame(head, size)) {
    return std::make_unique<ZstdDecoder>();
  }
  if (starts_with(head, size, "\xfd\x37zXZ\0", SIGNATURE_SIZE)) {
    return std::make_unique<XzDecoder>();
  }
  return nullptr;
}

}  // namespace perflib
