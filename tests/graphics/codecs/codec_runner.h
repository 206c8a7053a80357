// Runs a codec from one byte vector into another, as the TIFF code does.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "graphics/codecs/vector_codec.h"

namespace Vellum::Testing {

// Decodes `input` and returns what the codec wrote. A failure is rethrown
// unless `failure` is given: then its message lands there ("" when there is
// none) and the bytes written before it are returned.
inline std::vector<unsigned char> Decode(Ashgrove::IDecompressor& codec,
                                         const std::vector<unsigned char>& input,
                                         std::string* failure = nullptr) {
  std::vector<unsigned char> out;
  if (failure) failure->clear();
  try {
    Ashgrove::DecompressVector(codec, input, out);
  } catch (const std::exception& error) {
    if (!failure) throw;
    *failure = error.what();
  }
  return out;
}

}  // namespace Vellum::Testing
