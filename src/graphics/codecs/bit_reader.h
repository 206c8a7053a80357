// Reading bit fields from a byte stream.
#pragma once

#include <cstdint>

#include "graphics/codecs/bit_sequence.h"

namespace Ashgrove {

class IBitReader {
 public:
  virtual ~IBitReader() = default;

  // Reads `count` bits and adds them to `bits` in the reader's bit order.
  // Returns false when the input ends first; reading 0 bits always succeeds.
  virtual bool ReadBits(std::uint32_t count, BitSequence& bits) = 0;

  // Reads one whole byte; only at a byte boundary, else throws IOException
  // "Not aligned at byte boundary". Returns false at the end of the input.
  virtual bool ReadByte(std::uint8_t& byte) = 0;

  // Drops the rest of the current byte.
  virtual void SkipToByteBoundary() = 0;
};

}  // namespace Ashgrove
