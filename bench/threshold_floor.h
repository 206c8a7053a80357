// The floor the halftoners are measured against: one pass over 8-bit grey
// rows into packed one-bit rows with a fixed threshold of 128 and nothing
// else, written as fast as such a pass plainly goes (sixteen pixels a step
// where the processor compares sixteen bytes at once).
#pragma once

#include <array>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Vellum::Bench {

inline const std::array<std::uint8_t, 256> kBitsReversed = [] {
  std::array<std::uint8_t, 256> table{};
  for (unsigned i = 0; i < 256; ++i) {
    for (unsigned bit = 0; bit < 8; ++bit) table[i] |= ((i >> bit) & 1U) << (7 - bit);
  }
  return table;
}();

// `width` is a multiple of 16.
inline void ThresholdFloor(const std::uint8_t* source, std::uint64_t width, std::uint64_t height,
                           std::uint8_t* destination) {
  for (std::uint64_t y = 0; y < height; ++y) {
    const std::uint8_t* row = source + y * width;
    std::uint8_t* out = destination + y * (width / 8);
#if defined(__SSE2__)
    // Below 128 is exactly the top bit clear.
    for (std::uint64_t x = 0; x < width; x += 16) {
      const __m128i g = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x));
      const auto bright = static_cast<unsigned>(_mm_movemask_epi8(g));
      const unsigned dots = ~bright & 0xFFFF;
      // Pixel 0 is the mask's lowest bit and the byte's highest.
      out[x / 8] = kBitsReversed[dots & 0xFF];
      out[x / 8 + 1] = kBitsReversed[dots >> 8];
    }
#else
    for (std::uint64_t x = 0; x < width; x += 8) {
      std::uint64_t dots = 0;
      for (unsigned j = 0; j < 8; ++j) dots |= std::uint64_t{row[x + j] < 128} << (8 * j);
      out[x / 8] = static_cast<std::uint8_t>((dots * 0x8040201008040201ULL) >> 56);
    }
#endif
  }
}

}  // namespace Vellum::Bench
