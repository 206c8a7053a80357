// Runs a codec from one byte vector into another, as the TIFF code does.
#pragma once

#include <istream>
#include <ostream>
#include <vector>

#include "graphics/codecs/codec.h"
#include "graphics/streams/vector_stream_buffer.h"

namespace VellumTest {

inline std::vector<unsigned char> Decode(Ashgrove::IDecompressor& codec,
                                         const std::vector<unsigned char>& input,
                                         std::vector<unsigned char>* partial = nullptr) {
  std::vector<unsigned char> out;
  Corvane::InputVectorStreamBuffer inBuffer(input);
  Corvane::OutputVectorStreamBuffer outBuffer(out);
  std::istream in(&inBuffer);
  std::ostream os(&outBuffer);
  try {
    codec.Decompress(in, os);
  } catch (...) {
    if (partial) *partial = out;
    throw;
  }
  return out;
}

inline std::vector<unsigned char> Encode(Ashgrove::ICompressor& codec,
                                         const std::vector<unsigned char>& input) {
  std::vector<unsigned char> out;
  Corvane::InputVectorStreamBuffer inBuffer(input);
  Corvane::OutputVectorStreamBuffer outBuffer(out);
  std::istream in(&inBuffer);
  std::ostream os(&outBuffer);
  codec.Compress(in, os);
  return out;
}

// Runs `body` and returns the message of the exception it throws ("" if none).
template <typename Body>
std::string MessageOf(Body body) {
  try {
    body();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

}  // namespace VellumTest
