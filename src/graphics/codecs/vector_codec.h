// Runs a codec from one byte vector into another through the vector stream
// buffers, so neither side is copied into a string first. The result is
// appended to `output`; on a failure, what the codec wrote before it stays
// there, as with any stream.
#pragma once

#include <istream>
#include <ostream>
#include <vector>

#include "graphics/codecs/codec.h"
#include "graphics/streams/vector_stream_buffer.h"

namespace Ashgrove {

inline void DecompressVector(IDecompressor& codec, const std::vector<unsigned char>& input,
                             std::vector<unsigned char>& output) {
  Corvane::InputVectorStreamBuffer inBuffer(input);
  Corvane::OutputVectorStreamBuffer outBuffer(output);
  std::istream in(&inBuffer);
  std::ostream out(&outBuffer);
  codec.Decompress(in, out);
}

inline void CompressVector(ICompressor& codec, const std::vector<unsigned char>& input,
                           std::vector<unsigned char>& output) {
  Corvane::InputVectorStreamBuffer inBuffer(input);
  Corvane::OutputVectorStreamBuffer outBuffer(output);
  std::istream in(&inBuffer);
  std::ostream out(&outBuffer);
  codec.Compress(in, out);
}

}  // namespace Ashgrove
