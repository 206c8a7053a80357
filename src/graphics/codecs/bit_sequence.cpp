#include "graphics/codecs/bit_sequence.h"

#include <stdexcept>

namespace Ashgrove {

void BitSequence::Append(std::uint32_t bits, std::uint32_t count) {
  if (count == 0) return;
  if (length + count > kMaxLength) throw std::out_of_range("count too large");
  const std::uint64_t mask = (std::uint64_t{1} << count) - 1;
  value = static_cast<std::uint32_t>((std::uint64_t{value} << count) | (bits & mask));
  length += count;
}

}  // namespace Ashgrove
