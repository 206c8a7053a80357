#include "graphics/codecs/huffman_table.h"

#include <algorithm>
#include <bit>

#include "graphics/codecs/exception.h"

namespace Ashgrove {

namespace {

// Code lengths past this are not counted when codes are assigned.
constexpr std::uint32_t kCountedLengths = 33;

std::uint32_t Reverse(std::uint32_t code, std::uint32_t length) {
  std::uint32_t reversed = 0;
  for (std::uint32_t i = 0; i < length; ++i) reversed |= ((code >> i) & 1) << (length - 1 - i);
  return reversed;
}

// The reversal of every index of the widest first-level lookup.
template <std::uint32_t Bits>
const std::array<std::uint16_t, std::size_t{1} << Bits> kReversed = [] {
  std::array<std::uint16_t, std::size_t{1} << Bits> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i)
    table[i] = static_cast<std::uint16_t>(Reverse(i, Bits));
  return table;
}();

}  // namespace

HuffmanTable::HuffmanTable(const std::vector<std::uint8_t>& lengths) {
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
  BuildFastTable();
}

std::int32_t HuffmanTable::SymbolAt(std::uint32_t slot) const {
  const auto found = std::lower_bound(slots_.begin(), slots_.end(), slot << 9);
  if (found == slots_.end() || (*found >> 9) != slot) return -1;
  return static_cast<std::int32_t>(*found & 0x1FF);
}

void HuffmanTable::BuildFastTable() {
  fastBits_ = std::min(maxLength_, kFastBits);
  fast_.resize(std::size_t{1} << fastBits_);
  for (std::uint32_t bits = 0; bits < fast_.size(); ++bits) {
    fast_[bits] = (kReversed<kFastBits>[bits] >> (kFastBits - fastBits_)) << 8;
  }
  // Longest first, so that where codes of several lengths share input bits
  // the shortest wins, as the bit-by-bit search finds it.
  const std::uint32_t fastSlots = (2u << fastBits_) - 2;
  for (auto it = slots_.rbegin(); it != slots_.rend(); ++it) {
    const std::uint32_t slot = *it >> 9;
    if (slot >= fastSlots) continue;
    const std::uint32_t length = static_cast<std::uint32_t>(std::bit_width(slot + 2)) - 1;
    const std::uint32_t code = slot + 2 - (1u << length);
    const std::uint32_t symbol = *it & 0x1FF;
    const std::uint32_t entry = (symbol << 8) | kResolved | (symbol < 256 ? kLiteral : 0) | length;
    const std::uint32_t reversed = kReversed<kFastBits>[code] >> (kFastBits - length);
    for (std::uint32_t bits = reversed; bits < fast_.size(); bits += 1u << length) {
      fast_[bits] = entry;
    }
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
