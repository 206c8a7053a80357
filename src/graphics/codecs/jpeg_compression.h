// TIFF compression 7. The library has no JPEG codec: every call fails.
#pragma once

#include <istream>
#include <ostream>

#include "graphics/codecs/codec.h"

namespace Ashgrove {

class JPEGCompression : public IDecompressor, public ICompressor {
 public:
  // Throws UnimplementedException "JPEG support is missing".
  void Decompress(std::istream& input, std::ostream& output) override;
  // Throws UnimplementedException "JPEG support is missing".
  void Compress(std::istream& input, std::ostream& output) override;
};

}  // namespace Ashgrove
