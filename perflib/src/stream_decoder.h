// SPDX-License-Identifier: Apache-2.0
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
// read as one stream. Each decoder keeps the history window its format needs inside itself, so
// output may go anywhere and memory does not grow with the data.
class StreamDecoder {
 public:
  virtual ~StreamDecoder() = default;
  // Decodes what it can. input_ended says that no input follows in.in. Throws
  // std::runtime_error with the reason ("corrupt gzip data: ...") on data that cannot be decoded.
  virtual void decode(DecodeBuffers& b, bool input_ended) = 0;
  // Whether the data decoded so far ends a complete member, frame or stream and all its output
  // has been delivered: where the input may end without being truncated.
  virtual bool at_end() const = 0;
};

// The longest signature looked at.
constexpr std::size_t SIGNATURE_SIZE = 6;

// A decoder for the format whose signature begins head, or nullptr for any other content.
std::unique_ptr<StreamDecoder> make_decoder(const unsigned char* head, std::size_t size);

}  // namespace perflib

#endif
