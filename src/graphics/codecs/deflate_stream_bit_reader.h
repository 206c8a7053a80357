// The bit reader for Deflate: RFC 1951 packs fields starting at each byte's
// least significant bit.
#pragma once

#include <cstdint>
#include <istream>

#include "graphics/codecs/stream_bit_reader.h"

namespace Ashgrove {

class DeflateStreamBitReader final : public StreamBitReader {
 public:
  explicit DeflateStreamBitReader(std::istream& input) : StreamBitReader(input) {}
  DeflateStreamBitReader(const unsigned char* data, std::size_t size)
      : StreamBitReader(data, size) {}

  // Adds `count` bits to `bits`, least significant first, as Deflate's
  // header fields and extra bits are stored. Returns false at the end of the
  // input. Throws std::out_of_range "bit sequence has reached maximum length"
  // when the sequence would pass 32 bits.
  bool ReadBits(std::uint32_t count, BitSequence& bits) override;
  bool ReadByte(std::uint8_t& byte) override;
  void SkipToByteBoundary() override;

  // The decoder's fast path works on the accumulator directly: Available()
  // bits can be peeked without touching the input.
  std::uint32_t Available() const { return count_; }
  std::uint32_t Peek(std::uint32_t count) const {
    return static_cast<std::uint32_t>(accumulator_) & ((1u << count) - 1);
  }
  void Consume(std::uint32_t count) {
    accumulator_ >>= count;
    count_ -= count;
  }
  // Tops the accumulator up to at least 56 bits while input lasts; returns
  // whether `count` bits are now available.
  bool Fill(std::uint32_t count) {
    if (count_ >= count) return true;
    return Refill(count);
  }
  // Takes the next bit for a Huffman code; throws IOException
  // "Unexpected end of stream encountered while reading Huffman code".
  std::uint32_t HuffmanBit();

  // Reads `count` whole bytes (at a byte boundary) into `out`; returns how
  // many there were before the input ended.
  std::size_t ReadAlignedBytes(unsigned char* out, std::size_t count);

 private:
  bool Refill(std::uint32_t count);
};

}  // namespace Ashgrove
