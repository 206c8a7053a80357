// Runs a codec from one byte vector into another, as the TIFF code does.
#pragma once

#include <exception>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "graphics/codecs/codec.h"
#include "graphics/streams/vector_stream_buffer.h"

namespace VellumTest {

// Decodes `input` and returns what the codec wrote. A failure is rethrown
// unless `failure` is given: then its message lands there ("" when there is
// none) and the bytes written before it are returned.
inline std::vector<unsigned char> Decode(Ashgrove::IDecompressor& codec,
                                         const std::vector<unsigned char>& input,
                                         std::string* failure = nullptr) {
  std::vector<unsigned char> out;
  Corvane::InputVectorStreamBuffer inBuffer(input);
  Corvane::OutputVectorStreamBuffer outBuffer(out);
  std::istream in(&inBuffer);
  std::ostream os(&outBuffer);
  if (failure) failure->clear();
  try {
    codec.Decompress(in, os);
  } catch (const std::exception& error) {
    if (!failure) throw;
    *failure = error.what();
  }
  return out;
}

}  // namespace VellumTest
