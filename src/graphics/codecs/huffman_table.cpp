#include "graphics/codecs/huffman_table.h"

#include <algorithm>
#include <bit>

#include "graphics/codecs/deflate_symbols.h"
#include "graphics/codecs/exception.h"

namespace Ashgrove {

namespace {

// Code lengths past this are not counted when codes are assigned.
constexpr std::uint32_t kCountedLengths = 33;

constexpr std::uint32_t ReverseBitByBit(std::uint32_t code, std::uint32_t length) {
  std::uint32_t reversed = 0;
  for (std::uint32_t i = 0; i < length; ++i) reversed |= ((code >> i) & 1) << (length - 1 - i);
  return reversed;
}

// Every byte reversed, made when compiling: tables are built for every
// block, and reversing each code bit by bit was a good part of that.
constexpr std::array<std::uint8_t, 256> kReversedBytes = [] {
  std::array<std::uint8_t, 256> table{};
  for (std::uint32_t i = 0; i < 256; ++i)
    table[i] = static_cast<std::uint8_t>(ReverseBitByBit(i, 8));
  return table;
}();

// The low `length` bits of `code` in reverse order (length at most 16).
constexpr std::uint32_t Reverse(std::uint32_t code, std::uint32_t length) {
  const std::uint32_t reversed16 =
      std::uint32_t{kReversedBytes[code & 0xFF]} << 8 | kReversedBytes[(code >> 8) & 0xFF];
  return reversed16 >> (16 - length);
}

// The widest first-level lookup, and the reversal of each of its indices,
// made when compiling.
constexpr std::uint32_t kWidestLookup = 11;
constexpr std::array<std::uint16_t, std::size_t{1} << kWidestLookup> kReversed = [] {
  std::array<std::uint16_t, std::size_t{1} << kWidestLookup> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i)
    table[i] = static_cast<std::uint16_t>(Reverse(i, kWidestLookup));
  return table;
}();

}  // namespace

HuffmanTable::HuffmanTable(const std::vector<std::uint8_t>& lengths, Alphabet alphabet,
                           std::uint32_t lookupBits)
    : alphabet_(alphabet) {
  for (auto length : lengths) maxLength_ = std::max<std::uint32_t>(maxLength_, length);
  // Slots 0 to 2^(L+1) - 3 belong to codes of 1 to L bits.
  const std::uint64_t slotCount = (std::uint64_t{2} << maxLength_) - 2;

  std::array<std::uint32_t, kCountedLengths + 1> count{};
  for (auto length : lengths) {
    if (length >= 1 && length <= kCountedLengths) ++count[length];
  }
  std::array<std::uint32_t, kCountedLengths + 1> next{};
  for (std::uint32_t n = 2; n <= kCountedLengths; ++n) {
    next[n] = ((next[n - 1] + count[n - 1]) & 0x7FFFFFFF) * 2;
  }

  // Codes in symbol order; the first symbol whose code has no slot, or
  // whose slot an earlier symbol already holds, is the error reported.
  const std::size_t symbols = std::min<std::size_t>(lengths.size(), kMaxSymbols);
  // Placed by length, then symbol: that is slot order unless some length
  // is over-full, which the sort below then mends.
  std::array<std::uint32_t, kCountedLengths + 2> place{};
  for (std::uint32_t n = 1; n <= kCountedLengths; ++n) place[n + 1] = place[n] + count[n];
  std::size_t placed = 0;
  slots_.resize(place[kCountedLengths + 1]);
  std::size_t firstError = symbols;
  for (std::size_t symbol = 0; symbol < symbols; ++symbol) {
    const std::uint32_t length = lengths[symbol];
    if (length == 0 || length > kCountedLengths) continue;
    const std::uint32_t code = next[length]++;
    records_[symbol] = {code, length};
    // An over-full length runs its codes on into the slots of longer
    // lengths; past the longest length there is no slot for them.
    const std::uint64_t slot = (std::uint64_t{1} << length) - 2 + code;
    if (slot >= slotCount) {
      firstError = symbol;
      break;
    }
    slots_[place[length]++] = static_cast<std::uint32_t>(slot << 9 | symbol);
    ++placed;
  }
  if (placed != slots_.size()) {
    // Stopped at an error: keep only what was placed, in slot order.
    std::vector<std::uint32_t> kept;
    kept.reserve(placed);
    std::uint32_t begin = 0;
    for (std::uint32_t n = 1; n <= kCountedLengths; ++n) {
      const std::uint32_t end = begin + count[n];
      for (std::uint32_t i = begin; i < place[n]; ++i) kept.push_back(slots_[i]);
      begin = end;
    }
    slots_ = std::move(kept);
  }
  if (!std::is_sorted(slots_.begin(), slots_.end())) std::sort(slots_.begin(), slots_.end());
  std::size_t firstDuplicate = symbols;
  for (std::size_t i = 1; i < slots_.size(); ++i) {
    if ((slots_[i] >> 9) == (slots_[i - 1] >> 9)) {
      firstDuplicate = std::min<std::size_t>(firstDuplicate, slots_[i] & 0x1FF);
    }
  }
  if (firstDuplicate < firstError) throw DecompressionException("Duplicate code!");
  if (firstError < symbols) throw DecompressionException("Code too large for this table");
  BuildLookup(lookupBits);
}

std::int32_t HuffmanTable::SymbolAt(std::uint32_t slot) const {
  const auto found = std::lower_bound(slots_.begin(), slots_.end(), slot << 9);
  if (found == slots_.end() || (*found >> 9) != slot) return -1;
  return static_cast<std::int32_t>(*found & 0x1FF);
}

namespace {

using DeflateSymbols::kDistanceBase;
using DeflateSymbols::kDistanceExtra;
using DeflateSymbols::kLengthBase;
using DeflateSymbols::kLengthExtra;

// A length or distance code: the base, the code's own length, and the bits
// it takes with its extra bits.
HuffmanTable::Entry BaseEntry(std::uint32_t length, std::uint32_t base, std::uint32_t extra) {
  return base << 16 | HuffmanTable::kBase | length << 8 | (length + extra);
}

// The entry for `symbol` with a code of `length` bits, what it stands for
// decoded by the alphabet's rules.
HuffmanTable::Entry EntryFor(HuffmanTable::Alphabet alphabet, std::uint32_t symbol,
                             std::uint32_t length) {
  using Table = HuffmanTable;
  if (alphabet == Table::Alphabet::kLiteralLength) {
    if (symbol < 256) return Table::kLiteral | length << 24 | symbol << 8 | length;
    if (symbol >= 257 && symbol <= 285)
      return BaseEntry(length, kLengthBase[symbol - 257], kLengthExtra[symbol - 257]);
  } else if (alphabet == Table::Alphabet::kDistance && symbol <= 29) {
    return BaseEntry(length, kDistanceBase[symbol], kDistanceExtra[symbol]);
  }
  return symbol << 16 | length;
}

}  // namespace

std::uint32_t HuffmanTable::SymbolOf(Entry entry) const {
  if (IsLiteral(entry)) return LiteralByte(entry);
  if (!(entry & kBase)) return Value(entry);
  // The bases of an alphabet all differ, so each names its symbol.
  if (alphabet_ == Alphabet::kLiteralLength) {
    const auto* found = std::find(std::begin(kLengthBase), std::end(kLengthBase), Value(entry));
    return 257 + static_cast<std::uint32_t>(found - std::begin(kLengthBase));
  }
  const auto* found = std::find(std::begin(kDistanceBase), std::end(kDistanceBase), Value(entry));
  return static_cast<std::uint32_t>(found - std::begin(kDistanceBase));
}

std::uint32_t HuffmanTable::ReversedMain(std::uint32_t bits) const {
  return kReversed[bits] >> (kWidestLookup - mainBits_);
}

void HuffmanTable::BuildLookup(std::uint32_t lookupBits) {
  // Deflate's codes have at most 15 bits; anything longer is left to the
  // bit-by-bit path rather than given second-level tables of its size.
  // The first level is always `lookupBits` wide, whatever the longest code,
  // so that a decoding loop can hold its width as a constant.
  const std::uint32_t deepest = std::min(maxLength_, 15u);
  mainBits_ = std::min(lookupBits, kWidestLookup);
  subBits_ = deepest > mainBits_ ? deepest - mainBits_ : 0;
  entries_.assign(std::size_t{1} << mainBits_, 0);
  // Codes by slot, longest first, so that where codes of several lengths
  // share input bits the shortest wins, as the bit-by-bit search finds it.
  // A code longer than the first level goes to the second-level table of
  // its first mainBits_ bits, made when first needed; a shorter code found
  // later over the same bits replaces the pointer, as it should.
  for (auto it = slots_.rbegin(); it != slots_.rend(); ++it) {
    const std::uint32_t slot = *it >> 9;
    const std::uint32_t length = static_cast<std::uint32_t>(std::bit_width(slot + 2)) - 1;
    const std::uint32_t code = slot + 2 - (1u << length);
    const std::uint32_t symbol = *it & 0x1FF;
    if (length > deepest) continue;
    // The code's bits in the order they arrive, first bit lowest.
    const std::uint32_t reversed = Reverse(code, length);
    const Entry entry = EntryFor(alphabet_, symbol, length);
    if (length <= mainBits_) {
      for (std::uint32_t bits = reversed; bits < (1u << mainBits_); bits += 1u << length)
        entries_[bits] = entry;
      continue;
    }
    const std::uint32_t main = reversed & ((1u << mainBits_) - 1);
    if (!(entries_[main] & kPointer)) {
      const std::size_t start = entries_.size();
      entries_.resize(start + (std::size_t{1} << subBits_), 0);
      entries_[main] = static_cast<Entry>(start) << 16 | subBits_ << 8 | kPointer | mainBits_;
    }
    const std::size_t start = PointerStart(entries_[main]);
    const std::uint32_t rest = reversed >> mainBits_;
    const std::uint32_t restLength = length - mainBits_;
    for (std::uint32_t bits = rest; bits < (1u << subBits_); bits += 1u << restLength)
      entries_[start + bits] = entry;
  }
  if (alphabet_ == Alphabet::kLiteralLength) PairLiterals();
}

void HuffmanTable::PairLiterals() {
  // Text is mostly literals, and each costs a dependent table lookup; two
  // short ones at a time halve that. The index bits past a first literal
  // of n bits are the start of the next code, and when the single-symbol
  // entry for them (the rest of the index zero) is a literal of at most
  // mainBits_ - n bits, those bits decide it whatever follows.
  // Downwards, so that the entry for the rest of an index, always at a
  // lower index, still holds a single symbol when it is read.
  for (std::size_t i = (std::size_t{1} << mainBits_); i-- > 0;) {
    const Entry first = entries_[i];
    if (!IsLiteral(first)) continue;
    const std::uint32_t firstBits = Bits(first);
    const Entry second = entries_[i >> firstBits];
    if (!IsLiteral(second) || Bits(second) > mainBits_ - firstBits) continue;
    entries_[i] =
        first + Bits(second) + (std::uint32_t{LiteralByte(second)} << 16) + kSecondLiteral;
  }
}

std::uint32_t HuffmanTable::DecodeSlow(DeflateStreamBitReader& reader, std::uint32_t code,
                                       std::uint32_t length) const {
  for (;;) {
    code = code * 2 + reader.HuffmanBit();
    ++length;
    if (length > maxLength_) throw DecompressionException("Code too large for this table");
    const std::int32_t symbol = SymbolAt((1u << length) - 2 + code);
    if (symbol >= 0) return static_cast<std::uint32_t>(symbol);
  }
}

}  // namespace Ashgrove
