// A run of up to 32 bits read from or written to a bit stream.
#pragma once

#include <cstdint>

namespace Ashgrove {

struct BitSequence {
  static constexpr std::uint32_t kMaxLength = 32;

  std::uint32_t value = 0;
  std::uint32_t length = 0;

  // Appends `count` bits below the ones already held (the sequence's value is
  // read most significant bit first). Throws std::out_of_range with
  // "count too large" when the sequence would pass 32 bits.
  void Append(std::uint32_t bits, std::uint32_t count);
};

}  // namespace Ashgrove
