#include "stream_decoder.h"

#include <isa-l/igzip_lib.h>
#include <lzma.h>
#define ZSTD_STATIC_LINKING_ONLY  // the block-level decoding interface
#include <zstd.h>

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

  bool at_end() const override { return state.block_state == ISAL_BLOCK_FINISH; }

 private:
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
};

// zstd through the library's block-level interface, which decodes each block straight into the
// ring the reader reads from and finds its history there, rather than in a window of its own that
// output would be copied out of: one copy and one window less per file.
class ZstdDecoder : public StreamDecoder {
 public:
  ZstdDecoder() : context(ZSTD_createDCtx()) {
    if (context == nullptr) {
      throw std::bad_alloc();
    }
  }
  ~ZstdDecoder() override { ZSTD_freeDCtx(context); }
  ZstdDecoder(const ZstdDecoder&) = delete;
  ZstdDecoder& operator=(const ZstdDecoder&) = delete;

  // Returns after each block that gives text, so the reader sees it at once.
  void decode(DecodeBuffers& b, bool /*input_ended*/) override {
    for (;;) {
      if (!in_frame && !start_frame(b)) {
        return;
      }
      const std::size_t size = ZSTD_nextSrcSizeToDecompress(context);
      if (size == 0) {
        in_frame = false;  // the frame and its checksum are complete
        continue;
      }
      if (ZSTD_nextInputType(context) == ZSTDnit_block && b.out_size < block_max) {
        return;
      }
      const unsigned char* src = take(b, size);
      if (src == nullptr) {
        return;  // more input is needed
      }
      const std::size_t produced = ZSTD_decompressContinue(context, b.out, b.out_size, src, size);
      check(produced);
      advance(b, 0, produced);
      if (produced > 0) {
        return;
      }
    }
  }

  bool at_end() const override { return !in_frame && staged == 0; }
  std::size_t room() const override { return std::max<std::size_t>(block_max, 1); }
  std::size_t ring_size() const override { return ring; }

 private:
  // Reads the header of the next frame into the stage; false until all of it is there.
  bool start_frame(DecodeBuffers& b) {
    ZSTD_frameHeader header;
    std::size_t result;
    while ((result = ZSTD_getFrameHeader(&header, stage.data(), staged)) > 0
           && !ZSTD_isError(result)) {
      if (b.in_size == 0) {
        return false;
      }
      const std::size_t n = std::min(result - staged, b.in_size);
      stage_input(b, n);
    }
    check(result);
    if (header.frameType == ZSTD_frame && header.windowSize > HISTORY_LIMIT) {
      throw std::runtime_error("zstd data needs more than 128 MiB of memory to decode");
    }
    block_max = header.frameType == ZSTD_frame ? header.blockSizeMax : 0;
    ring = header.frameType == ZSTD_frame
               ? ZSTD_decodingBufferSize_min(header.windowSize, header.frameContentSize)
               : 0;
    check(ring);
    check(ZSTD_decompressBegin(context));
    in_frame = true;
    return true;
  }

  // The next size bytes of input in one piece: straight from the input when they are there,
  // else gathered in the stage; nullptr while they are not all there yet.
  const unsigned char* take(DecodeBuffers& b, std::size_t size) {
    if (staged == used && b.in_size >= size) {
      staged = used = 0;
      const unsigned char* src = b.in;
      advance(b, size, 0);
      return src;
    }
    if (staged - used < size) {
      stage_input(b, std::min(size - (staged - used), b.in_size));
      if (staged - used < size) {
        return nullptr;
      }
    }
    const unsigned char* src = stage.data() + used;
    used += size;
    if (used == staged) {
      staged = used = 0;
    }
    return src;
  }

  void stage_input(DecodeBuffers& b, std::size_t n) {
    if (stage.size() < staged + n) {
      std::memmove(stage.data(), stage.data() + used, staged - used);
      staged -= used;
      used = 0;
      stage.resize(std::max(stage.size(), staged + n));
    }
    std::memcpy(stage.data() + staged, b.in, n);
    staged += n;
    advance(b, n, 0);
  }

  static void check(std::size_t result) {
    if (ZSTD_isError(result)) {
      throw std::runtime_error(std::string("corrupt zstd data (") + ZSTD_getErrorName(result)
                               + ")");
    }
  }

  ZSTD_DCtx* context;
  std::vector<unsigned char> stage = std::vector<unsigned char>(ZSTD_FRAMEHEADERSIZE_MAX);
  std::size_t staged = 0;  // bytes in the stage
  std::size_t used = 0;    // of which already decoded
  bool in_frame = false;
  std::size_t block_max = 0;
  std::size_t ring = 0;
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

}  // namespace

std::unique_ptr<StreamDecoder> make_decoder(const unsigned char* head, std::size_t size) {
  if (starts_with(head, size, "\x1f\x8b", 2)) {
    return std::make_unique<GzipDecoder>();
  }
  if (starts_with(head, size, "\x28\xb5\x2f\xfd", 4)) {
    return std::make_unique<ZstdDecoder>();
  }
  if (starts_with(head, size, "\xfd\x37zXZ\0", SIGNATURE_SIZE)) {
    return std::make_unique<XzDecoder>();
  }
  return nullptr;
}

}  // namespace perflib
