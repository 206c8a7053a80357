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

  // What the symbols stand for, so that lookups can carry it decoded.
  enum class Alphabet {
    kCodeLengths,    // only ever decoded symbol by symbol
    kLiteralLength,  // 0-255 literals, 256 end of block, 257-285 lengths
    kDistance,       // 0-29 distances
  };

  // Builds the code from one length per symbol (index = symbol, 0 = unused);
  // lengths are at most 15, as Deflate's headers give them. `lookupBits` is
  // the width of the first-level lookup (longer codes go through second-level
  // tables; at most 11). Throws DecompressionException "Code too large for this table"
  // for a code that does not fit the longest length given, and "Duplicate
  // code!" when two symbols get the same code. Incomplete codes are accepted.
  explicit HuffmanTable(const std::vector<std::uint8_t>& lengths,
                        Alphabet alphabet = Alphabet::kCodeLengths, std::uint32_t lookupBits = 7);

  // Decodes the next symbol. Throws IOException "Unexpected end of stream
  // encountered while reading Huffman code" when the input ends inside a code
  // and DecompressionException "Code too large for this table" when the bits
  // match no code of up to the longest length.
  std::uint32_t Decode(DeflateStreamBitReader& reader) const {
    if (reader.Available() >= mainBits_) {
      const std::uint32_t main = reader.Peek(mainBits_);
      Entry entry = entries_[main];
      if (!IsLiteral(entry) && (entry & kPointer) && reader.Available() >= mainBits_ + subBits_) {
        entry = entries_[PointerStart(entry) + (reader.Peek(mainBits_ + subBits_) >> mainBits_)];
      }
      if (CodeLength(entry) != 0 && (IsLiteral(entry) || !(entry & kPointer))) {
        reader.Consume(CodeLength(entry));
        return SymbolOf(entry);
      }
      // No code of up to mainBits_ bits starts so: on bit by bit from there.
      reader.Consume(mainBits_);
      return DecodeSlow(reader, ReversedMain(main), mainBits_);
    }
    return DecodeSlow(reader, 0, 0);
  }

  std::uint32_t MaxLength() const { return maxLength_; }

  // The lookup, for decoding loops of their own. Indexed by the next
  // MainBits() input bits as they arrive (first bit lowest); an entry with
  // kPointer set sends the next SubBits() bits to a second-level table at
  // PointerStart(). Otherwise the entry is 0 where no code starts so, and
  // else holds in its low byte exactly the bits a decoding loop consumes for
  // it, Bits(), so that the byte serves as a shift count unmasked:
  //   kLiteral (the sign bit, one test): the literal byte in bits 8-15,
  //   LiteralByte(), and the code's length in bits 24-27 as well. In the
  //   first level of the literal/length table, where the rest of the index
  //   holds a whole second literal code, the entry carries that literal too
  //   (kSecondLiteral, its byte in bits 16-23) and its low byte counts both
  //   codes: a decoding loop stores the two bytes from bits 8-23 at once and
  //   steps past LiteralCount() of them.
  //   kBase (a length or distance code): the code's length and its extra
  //   bits together, with the code's length alone in bits 8-11 and bits
  //   12-13 clear, so that the extra bits come out with one mask and one
  //   shift by the entry's own bytes; the base, Value();
  //   neither: a symbol only the exact path handles (end of block, or one
  //   the format does not define), the code's length, and the symbol.
  // Four bytes an entry keep the literal/length table at 8 KiB.
  using Entry = std::uint32_t;
  static constexpr Entry kBase = 1u << 14;
  static constexpr Entry kPointer = 1u << 15;
  static constexpr Entry kLiteral = 1u << 31;
  static constexpr Entry kSecondLiteral = 1u << 28;
  static bool IsLiteral(Entry entry) { return static_cast<std::int32_t>(entry) < 0; }
  // The bits the entry consumes; as a 64-bit shift count the mask to six
  // bits is the one the processor applies anyway (all counts are below 32).
  static std::uint32_t Bits(Entry entry) { return entry & 0xFF; }
  static std::uint32_t Shift(Entry entry) { return entry & 63; }
  static unsigned char LiteralByte(Entry entry) { return static_cast<unsigned char>(entry >> 8); }
  static std::uint32_t LiteralCount(Entry entry) { return 1 + ((entry >> 28) & 1); }
  // The length of the (first) code alone.
  static std::uint32_t CodeLength(Entry entry) {
    if (IsLiteral(entry)) return (entry >> 24) & 0xF;
    return entry & kBase ? (entry >> 8) & 0xF : entry & 0xFF;
  }
  static std::uint32_t Value(Entry entry) { return entry >> 16; }
  static std::uint32_t PointerStart(Entry entry) { return entry >> 16; }
  static std::uint32_t PointerBits(Entry entry) { return (entry >> 8) & 0xF; }
  std::uint32_t MainBits() const { return mainBits_; }
  std::uint32_t SubBits() const { return subBits_; }
  const Entry* Entries() const { return entries_.data(); }

 private:
  // Goes on bit by bit from a code of `length` bits, one slot per length step.
  std::uint32_t DecodeSlow(DeflateStreamBitReader& reader, std::uint32_t code,
                           std::uint32_t length) const;
  void BuildLookup(std::uint32_t lookupBits);
  void PairLiterals();
  // The symbol a resolved entry stands for.
  std::uint32_t SymbolOf(Entry entry) const;
  std::uint32_t ReversedMain(std::uint32_t bits) const;

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
  std::uint32_t mainBits_ = 0;
  std::uint32_t subBits_ = 0;
  Alphabet alphabet_;
  std::vector<Entry> entries_;  // the first level, then the second-level tables
};

}  // namespace Ashgrove
