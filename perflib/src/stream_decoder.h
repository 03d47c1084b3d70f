// The decoders of the compressed formats a statistics file may come in (gzip, zstd, xz), behind
// one streaming interface, and the recognition of a format by the first bytes of a file.
#ifndef PERFLIB_SRC_STREAM_DECODER_H
#define PERFLIB_SRC_STREAM_DECODER_H

#include <cstddef>
#include <memory>

namespace perflib {

// The input and output still free for one decode call; the call advances both.
struct DecodeBuffers {
  const unsigned char* in;
  std::size_t in_size;
  unsigned char* out;
  std::size_t out_size;
};

// One compressed stream being decoded. Concatenated gzip members, zstd frames and xz streams
// read as one stream. Memory does not grow with the data: gzip and xz keep their history window
// inside the decoder; zstd reads its history back from its own earlier output, which therefore
// has to stay in place in a ring of ring_size() bytes (see below).
class StreamDecoder {
 public:
  virtual ~StreamDecoder() = default;
  // Decodes what it can. input_ended says that no input follows in.in. Throws
  // std::runtime_error with the reason ("corrupt gzip data: ...") on data that cannot be decoded.
  virtual void decode(DecodeBuffers& b, bool input_ended) = 0;
  // Whether the data decoded so far ends a complete member, frame or stream and all its output
  // has been delivered: where the input may end without being truncated.
  virtual bool at_end() const = 0;
  // The contiguous output room a decode call needs to make progress.
  virtual std::size_t room() const { return 1; }
  // 0, or the size of the ring the output has to be written into: each decode call then writes
  // right after the previous one's output, or at the start of the ring when the room left before
  // its end is less than room(); output stays untouched until it is that far behind. Known once
  // the header of a frame has been decoded; it changes only between frames.
  virtual std::size_t ring_size() const { return 0; }
};

// The longest signature looked at.
constexpr std::size_t SIGNATURE_SIZE = 6;

// A decoder for the format whose signature begins head, or nullptr for any other content.
std::unique_ptr<StreamDecoder> make_decoder(const unsigned char* head, std::size_t size);

}  // namespace perflib

#endif
