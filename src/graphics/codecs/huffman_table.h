// A canonical Huffman code (RFC 1951) for one Deflate alphabet.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "graphics/codecs/deflate_stream_bit_reader.h"

namespace Ashgrove {

class HuffmanTable {
 public:
  static constexpr std::uint32_t kMaxSymbols = 289;

  // Builds the code from one length per symbol (index = symbol, 0 = unused);
  // lengths are at most 15, as Deflate's headers give them.
  // Throws DecompressionException "Code too large for this table" for a code
  // that does not fit the longest length given, and "Duplicate code!" when
  // two symbols get the same code. Incomplete codes are accepted.
  explicit HuffmanTable(const std::vector<std::uint8_t>& lengths);

  // Decodes the next symbol. Throws IOException "Unexpected end of stream
  // encountered while reading Huffman code" when the input ends inside a code
  // and DecompressionException "Code too large for this table" when the bits
  // match no code of up to the longest length.
  std::uint32_t Decode(DeflateStreamBitReader& reader) const {
    if (reader.Available() >= fastBits_) {
      const std::uint32_t entry = fast_[reader.Peek(fastBits_)];
      if (entry & kResolved) {
        reader.Consume(entry & 0xF);
        return entry >> 8;
      }
      reader.Consume(fastBits_);
      return DecodeSlow(reader, entry >> 8, fastBits_);
    }
    return DecodeSlow(reader, 0, 0);
  }

  std::uint32_t MaxLength() const { return maxLength_; }

  // The first-level lookup, for decoding loops of their own (see fast_).
  static constexpr std::uint32_t kResolved = 0x10;
  // Also set on resolved entries of symbols below 256 (literal bytes in the
  // literal/length alphabet), so the hot loop tests one bit.
  static constexpr std::uint32_t kLiteral = 0x20;
  std::uint32_t FastBits() const { return fastBits_; }
  const std::uint32_t* FastEntries() const { return fast_.data(); }

 private:
  static constexpr std::uint32_t kFastBits = 10;

  // Goes on bit by bit from a code of `length` bits, one slot per length step.
  std::uint32_t DecodeSlow(DeflateStreamBitReader& reader, std::uint32_t code,
                           std::uint32_t length) const;
  void BuildFastTable();

  struct Record {
    std::uint32_t code = 0;
    std::uint32_t length = 0;
  };

  std::uint32_t maxLength_ = 0;
  // The codes by slot: the code c of n bits has slot 2^n - 2 + c, one slot
  // per length step. Held sorted as slot << 9 | symbol, since a dense array
  // of 2^(L+1) slots would cost more to clear than a block takes to decode.
  std::vector<std::uint32_t> slots_;
  // Symbol for a slot, or -1 when no code has it.
  std::int32_t SymbolAt(std::uint32_t slot) const;
  std::array<Record, kMaxSymbols> records_{};
  // Indexed by the next fastBits_ input bits as they arrive (first bit
  // lowest). A resolved entry is symbol << 8 | kResolved | length; an
  // unresolved one holds the fastBits_-bit code read so far << 8, and
  // decoding goes on through the slots.
  std::uint32_t fastBits_ = 0;
  std::vector<std::uint32_t> fast_;
};

}  // namespace Ashgrove
