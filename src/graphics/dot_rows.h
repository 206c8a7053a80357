// Internal to the graphics library: the row packer shared by the halftoners
// and the bitmap-from-image conversion. Not part of the library's interface.
#pragma once

#include <algorithm>
#include <cstdint>

namespace Brindle::Detail {

// Destination rows of one-bit pixels, most significant bit first. The last
// byte of a row carries 8 - paddingBits pixels in its high bits.
struct DotRows {
  std::uint8_t* data;
  std::uint64_t bytesPerRow;
  std::uint64_t height;
  unsigned paddingBits;
};

// True for the pure levels 0 and 255: adding 1 wraps them to 1 and 0.
[[nodiscard]] inline bool IsPureGrey(std::uint8_t grey) {
  return static_cast<std::uint8_t>(grey + 1) <= 1;
}

// Fills every row of `rows`. makeRow(y) returns the dot source of row y, an
// object with `unsigned Dot(std::uint64_t x)` (0 or 1) and a member `pure`
// counting the pure pixels it read. Returns the sum of those counts.
//
// Every row is computed on its own, so the dither carries no state between
// pixels or rows. This loop is the hot path of every conversion: makeRow is
// a template argument so that Dot inlines into it.
template <class MakeRow>
std::uint64_t PackDotRows(const DotRows& rows, MakeRow&& makeRow) {
  if (rows.bytesPerRow == 0) return 0;
  const std::uint64_t fullBytes = rows.bytesPerRow - 1;
  const unsigned padding = std::min(rows.paddingBits, 8U);
  const unsigned lastPixels = 8 - padding;
  std::uint64_t pure = 0;
  for (std::uint64_t y = 0; y < rows.height; ++y) {
    auto row = makeRow(y);
    std::uint8_t* out = rows.data + y * rows.bytesPerRow;
    for (std::uint64_t b = 0; b < fullBytes; ++b) {
      const std::uint64_t x = b * 8;
      unsigned bits = 0;
      for (unsigned j = 0; j < 8; ++j) bits = (bits << 1) | row.Dot(x + j);
      out[b] = static_cast<std::uint8_t>(bits);
    }
    unsigned bits = 0;
    for (unsigned j = 0; j < lastPixels; ++j) bits = (bits << 1) | row.Dot(fullBytes * 8 + j);
    out[fullBytes] = static_cast<std::uint8_t>(bits << padding);
    pure += row.pure;
  }
  return pure;
}

// A row dithered against one row of a threshold screen whose size is a power
// of two. Greys: callable (x) -> grey level of destination pixel x.
template <class Greys>
struct ScreenRow {
  Greys grey;
  const std::uint8_t* thresholds;  // the screen row for this y
  std::uint64_t mask;              // screen size - 1
  std::uint64_t pure = 0;

  unsigned Dot(std::uint64_t x) {
    const std::uint8_t g = grey(x);
    pure += IsPureGrey(g);
    return g < thresholds[x & mask];
  }
};

template <class Greys>
ScreenRow(Greys, const std::uint8_t*, std::uint64_t) -> ScreenRow<Greys>;

// Packs one destination row from the grey levels of its pixels, one byte per
// pixel (greys[x] for x below 8 x bytesPerRow - paddingBits), against a
// threshold row that repeats every `period` pixels: a dot where the grey is
// below the threshold. `period` is 16 or 32, and a fixed threshold is a
// 16-byte row of one value. Returns the number of pure greys (0 or 255) read.
//
// Sixteen pixels a step: compared at once, packed, counted; only the row's
// last bytes go pixel by pixel. The result is the one the per-pixel rule
// gives, bit for bit.
std::uint64_t ThresholdRow(const std::uint8_t* greys, const std::uint8_t* thresholds,
                           std::uint64_t period, std::uint8_t* out, std::uint64_t bytesPerRow,
                           unsigned paddingBits);

// The luminance the RGB halftoners use, in integer arithmetic (truncating).
[[nodiscard]] inline std::uint8_t GreyOfRgb(const std::uint8_t* pixel) {
  return static_cast<std::uint8_t>((299U * pixel[0] + 587U * pixel[1] + 114U * pixel[2]) / 1000U);
}

}  // namespace Brindle::Detail
