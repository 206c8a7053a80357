// Raw Deflate (RFC 1951), the strip format of TIFF compression 8 as this
// system writes it: no zlib header, no Adler-32 trailer.
#pragma once

#include <cstddef>
#include <istream>
#include <memory>
#include <ostream>
#include <vector>

#include "graphics/codecs/byte_block.h"
#include "graphics/codecs/codec.h"

namespace Ashgrove {

class DeflateCompression : public IDecompressor, public ICompressor {
 public:
  // Decodes raw Deflate blocks until the final block, or until the input ends
  // where a block header would start (so an empty input decodes to nothing).
  // Throws DecompressionException, RollingOutputBufferException or
  // IOException with the message of the defect found; output decoded before
  // it stays written.
  void Decompress(std::istream& input, std::ostream& output) override;

  // The same for the `size` bytes at `data`, read in place, with the result
  // decoded straight onto the end of `output`; same failures, and output
  // decoded before one stays appended. The vector grows as needed; reserving
  // the expected size plus kOutputSlack bytes spares it reallocations.
  static constexpr std::size_t kOutputSlack = 274;
  void DecompressBytes(const unsigned char* data, std::size_t size,
                       std::vector<unsigned char>& output);

  // Compresses the whole input with zlib (level 9, raw window of 2^15 bytes,
  // memory level 9, default strategy). Throws CompressionException
  // "Unknown stream exception occurred" when zlib reports a stream error;
  // output written before that stays written.
  void Compress(std::istream& input, std::ostream& output) override;

 private:
  // The stream form's work buffer, kept for the next call; an object is
  // therefore used by one thread at a time.
  ByteBlock& Storage();

  std::unique_ptr<ByteBlock> storage_;  // made on first use
};

}  // namespace Ashgrove
