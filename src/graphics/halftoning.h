// Ordered-dither halftoners: 8-bit grey or RGB rows to the one-bit rows of a
// Bitmap, with one of the three threshold screens (graphics/screens.h).
//
// All nine halftoners share one contract. They fill destinationHeight rows of
// destinationBytesPerRow bytes at `destination`, pixel x of row y being bit
// 7 - (x mod 8) of byte x / 8, 1 = a printed dot, printed when the pixel's grey
// level is below the screen's threshold at (x, y). The last byte of a row
// holds 8 - paddingBits pixels in its high bits; its low paddingBits bits are
// 0 (paddingBits 8 leaves the whole byte 0). They return the number of source
// pixels read whose grey level was exactly 0 or 255.
//
// The parameter block is trusted: sizes are not checked, and the source must
// hold every pixel the destination (through the mapping, if any) asks for.
//
// Throws HalftoningException "Only normal halftoning curve supported by this
// halftoner" when curve is not kNormalCurve, before anything is written.
#pragma once

#include <array>
#include <cstdint>

#include "graphics/tone_curves.h"

namespace Brindle {

struct SourcePoint {
  std::uint64_t x;
  std::uint64_t y;

  friend bool operator==(const SourcePoint&, const SourcePoint&) = default;
};

// Four values of the caller's choosing, handed to the mapping unchanged.
using MappingParameters = std::array<std::uint64_t, 4>;
// Destination pixel (x, y) to the source pixel whose grey it takes.
using SourceMapping = SourcePoint (*)(const MappingParameters& parameters, std::uint64_t x,
                                      std::uint64_t y);

struct HalftoneParameters {
  std::uint32_t curve = kNormalCurve;

  const std::uint8_t* source = nullptr;
  std::uint64_t sourceBytesPerRow = 0;
  std::uint64_t sourceBytesPerPixel = 3;  // RGB halftoners only: 3 or 4

  std::uint8_t* destination = nullptr;
  std::uint64_t destinationBytesPerRow = 0;
  std::uint64_t destinationHeight = 0;
  unsigned paddingBits = 0;

  SourceMapping mapping = nullptr;  // mapped halftoners only
  MappingParameters mappingParameters{};
};

// Grey source, one byte per pixel, destination (x, y) reading source (x, y).
std::uint64_t HalftoneGreyFirstScreen(const HalftoneParameters& parameters);
std::uint64_t HalftoneGreySecondScreen(const HalftoneParameters& parameters);
std::uint64_t HalftoneGrey32Screen(const HalftoneParameters& parameters);

// Grey source, reading the source pixel the mapping gives for (x, y).
std::uint64_t HalftoneMappedGreyFirstScreen(const HalftoneParameters& parameters);
std::uint64_t HalftoneMappedGreySecondScreen(const HalftoneParameters& parameters);
std::uint64_t HalftoneMappedGrey32Screen(const HalftoneParameters& parameters);

// RGB source (R, G, B in the first three of sourceBytesPerPixel bytes) at the
// mapped pixel; grey = (299 R + 587 G + 114 B) / 1000, truncated.
std::uint64_t HalftoneMappedRgbFirstScreen(const HalftoneParameters& parameters);
std::uint64_t HalftoneMappedRgbSecondScreen(const HalftoneParameters& parameters);
std::uint64_t HalftoneMappedRgb32Screen(const HalftoneParameters& parameters);

// Throws the curve failure above unless curve is kNormalCurve.
void CheckHalftoningCurve(std::uint32_t curve);

}  // namespace Brindle
