// TIFF's variant of LZW (compression 5): codes of 9 to 12 bits, most
// significant bit first, Clear (256) and End of Information (257).
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <vector>

#include "graphics/codecs/codec.h"

namespace Ashgrove {

class ByteSink;
class StreamBitReader;

class LZWCompression : public IDecompressor, public ICompressor {
 public:
  static constexpr std::uint16_t kClearCode = 256;
  static constexpr std::uint16_t kEndOfInformation = 257;
  static constexpr std::uint16_t kFirstFreeCode = 258;
  static constexpr std::uint32_t kMinCodeWidth = 9;
  static constexpr std::uint32_t kMaxCodeWidth = 12;
  static constexpr std::uint32_t kTableSize = 4096;

  // `earlyChange` 1 widens codes one code early, as TIFF writers and readers
  // do; 0 gives the classic LZW timing. TIFF always uses 1.
  explicit LZWCompression(std::uint32_t earlyChange);
  ~LZWCompression() override;

  // Decodes one strip up to End of Information. Throws DecompressionException
  // on a malformed stream ("Unexpected end of stream", "Unexpected end of LZW
  // stream", "Invalid code in stream", "LZW code is invalid", "Internal
  // inconsistency in LZW decompression", "LZW table is full!"); output written
  // before the failure stays written. Data after End of Information is left
  // alone with the line "Warning, not all data read" on standard error.
  void Decompress(std::istream& input, std::ostream& output) override;

  // The same for the `size` bytes at `data`, read in place, with the result
  // appended to `output`; same failures and warning. The object keeps its
  // work buffers (string table and history) for the next call, so a run of
  // small inputs (a TIFF file's strips) costs one set in all; an object is
  // therefore used by one thread at a time.
  void DecompressBytes(const unsigned char* data, std::size_t size,
                       std::vector<unsigned char>& output);

  // Encodes the whole input: Clear first, End of Information last, the last
  // byte padded with zero bits. Throws CompressionException
  // "LZW table is full!" should the table ever overflow.
  void Compress(std::istream& input, std::ostream& output) override;

 private:
  struct Work;
  Work& DecoderWork();
  void Decode(StreamBitReader& reader, ByteSink output);

  std::uint32_t earlyChange_;
  std::unique_ptr<Work> work_;  // made on first decode
};

}  // namespace Ashgrove
