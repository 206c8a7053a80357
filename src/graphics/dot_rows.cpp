#include "graphics/dot_rows.h"

#include <array>
#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Brindle::Detail {

namespace {

// Byte x with its bits in the opposite order: a compare mask has pixel 0 in
// its lowest bit, a dot row has it in the highest.
constexpr std::array<std::uint8_t, 256> kReversed = [] {
  std::array<std::uint8_t, 256> table{};
  for (unsigned i = 0; i < 256; ++i) {
    unsigned r = 0;
    for (unsigned bit = 0; bit < 8; ++bit) r |= ((i >> bit) & 1U) << (7 - bit);
    table[i] = static_cast<std::uint8_t>(r);
  }
  return table;
}();

// Eight pixels from x, which is a multiple of 8.
inline unsigned DotsOfEight(const std::uint8_t* greys, const std::uint8_t* thresholds,
                            std::uint64_t mask, std::uint64_t x, std::uint64_t& pure) {
  // One 0/1 byte per pixel, pixel 0 lowest; the multiplication gathers the
  // eight low bits into the top byte, pixel 0 at its most significant bit.
  std::uint64_t dots = 0;
  std::uint64_t pures = 0;
  for (unsigned j = 0; j < 8; ++j) {
    const std::uint8_t g = greys[x + j];
    dots |= std::uint64_t{g < thresholds[(x + j) & mask]} << (8 * j);
    pures += IsPureGrey(g);
  }
  pure += pures;
  return static_cast<unsigned>((dots * 0x8040201008040201ULL) >> 56);
}

}  // namespace

std::uint64_t ThresholdRow(const std::uint8_t* greys, const std::uint8_t* thresholds,
                           std::uint64_t period, std::uint8_t* out, std::uint64_t bytesPerRow,
                           unsigned paddingBits) {
  if (bytesPerRow == 0) return 0;
  const std::uint64_t mask = period - 1;
  const std::uint64_t fullBytes = bytesPerRow - 1;
  std::uint64_t pure = 0;
  std::uint64_t b = 0;
#if defined(__SSE2__)
  // Unsigned "below" as a signed compare of both sides shifted by 128.
  const __m128i bias = _mm_set1_epi8(static_cast<char>(0x80));
  const __m128i black = _mm_setzero_si128();
  const __m128i white = _mm_set1_epi8(static_cast<char>(0xFF));
  // Pure pixels are counted per byte lane (each compare gives -1) and
  // summed before a lane can overflow.
  __m128i pureLanes = _mm_setzero_si128();
  unsigned laneSteps = 0;
  const auto sumLanes = [&] {
    const __m128i sums = _mm_sad_epu8(pureLanes, black);
    pure += static_cast<std::uint64_t>(_mm_cvtsi128_si32(sums)) +
            static_cast<std::uint64_t>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
    pureLanes = black;
    laneSteps = 0;
  };
  // Sixteen pixels: their dots as a 16-bit mask, pixel 0 lowest.
  const auto sixteen = [&](std::uint64_t x) {
    const __m128i g = _mm_loadu_si128(reinterpret_cast<const __m128i*>(greys + x));
    const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(thresholds + (x & mask)));
    const __m128i below = _mm_cmplt_epi8(_mm_xor_si128(g, bias), _mm_xor_si128(t, bias));
    const __m128i pures = _mm_or_si128(_mm_cmpeq_epi8(g, black), _mm_cmpeq_epi8(g, white));
    pureLanes = _mm_sub_epi8(pureLanes, pures);
    return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(below)));
  };
  // Sixty-four pixels a step into eight bytes; x stays a multiple of 16, so
  // a 16- or 32-pixel screen row never wraps inside a load.
  for (; b + 8 <= fullBytes; b += 8) {
    const std::uint64_t x = b * 8;
    std::uint64_t dots =
        sixteen(x) | sixteen(x + 16) << 16 | sixteen(x + 32) << 32 | sixteen(x + 48) << 48;
    // Each byte's bits reversed: pixel 0 goes to the top of byte 0.
    dots = (dots & 0x0F0F0F0F0F0F0F0FULL) << 4 | (dots >> 4 & 0x0F0F0F0F0F0F0F0FULL);
    dots = (dots & 0x3333333333333333ULL) << 2 | (dots >> 2 & 0x3333333333333333ULL);
    dots = (dots & 0x5555555555555555ULL) << 1 | (dots >> 1 & 0x5555555555555555ULL);
    std::memcpy(out + b, &dots, 8);  // x86 is little-endian: byte 0 first
    if (++laneSteps == 60) sumLanes();
  }
  for (; b + 2 <= fullBytes; b += 2) {
    const auto dots = static_cast<unsigned>(sixteen(b * 8));
    out[b] = kReversed[dots & 0xFF];
    out[b + 1] = kReversed[dots >> 8];
  }
  sumLanes();
#endif
  for (; b < fullBytes; ++b) {
    out[b] = static_cast<std::uint8_t>(DotsOfEight(greys, thresholds, mask, b * 8, pure));
  }
  const unsigned padding = paddingBits < 8 ? paddingBits : 8;
  unsigned bits = 0;
  for (unsigned j = 0; j < 8 - padding; ++j) {
    const std::uint64_t x = fullBytes * 8 + j;
    bits = (bits << 1) | (greys[x] < thresholds[x & mask]);
    pure += IsPureGrey(greys[x]);
  }
  out[fullBytes] = static_cast<std::uint8_t>(bits << padding);
  return pure;
}

}  // namespace Brindle::Detail
