#include "graphics/codecs/jpeg_compression.h"

#include "graphics/codecs/exception.h"

namespace Ashgrove {

void JPEGCompression::Decompress(std::istream&, std::ostream&) {
  throw UnimplementedException("JPEG support is missing");
}

void JPEGCompression::Compress(std::istream&, std::ostream&) {
  throw UnimplementedException("JPEG support is missing");
}

}  // namespace Ashgrove
