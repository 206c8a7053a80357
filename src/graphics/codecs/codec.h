// Stream-to-stream codec interfaces. A codec reads its whole input stream and
// appends its result to the output stream; failures are Ashgrove exceptions,
// and output already written stays written.
#pragma once

#include <istream>
#include <ostream>

namespace Ashgrove {

class IDecompressor {
 public:
  virtual void Decompress(std::istream& input, std::ostream& output) = 0;
  virtual ~IDecompressor() = default;
};

class ICompressor {
 public:
  virtual void Compress(std::istream& input, std::ostream& output) = 0;
  virtual ~ICompressor() = default;
};

}  // namespace Ashgrove
