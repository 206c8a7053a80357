// Tone curves: named adjustments of how dark a grey prints, and the tables
// and 4 x 4 patterns of the pattern and fixed-threshold methods that use them.
#pragma once

#include <cstdint>
#include <string_view>

namespace Brindle {

// Tone-curve codes. Only kNormalCurve is accepted by the screen halftoners.
enum ToneCurve : std::uint32_t {
  kLightestCurve = 0,
  kLighterCurve = 1,
  kLightCurve = 2,
  kNormalCurve = 3,
  kDarkCurve = 4,
  kDarkerCurve = 5,
  kDarkestCurve = 6,
};

// "Lightest", "Lighter", "Light", "Dark", "Darker", "Darkest" to their codes;
// any other name (the empty one too) gives kNormalCurve.
[[nodiscard]] std::uint32_t ToneCurveFromName(std::string_view name);

// The dot class 0..8 (the number of a 4 x 4 pattern, 8 = solid) of a grey
// level under a curve. Codes above 6 use curve 6, negative codes curve 0.
[[nodiscard]] unsigned ToneClass(std::int64_t curve, std::uint8_t grey);

// Whether the 4 x 4 pattern of dot class `toneClass` (0..8) has a dot at
// (x mod 4, y mod 4).
[[nodiscard]] bool PatternDot(unsigned toneClass, std::uint64_t x, std::uint64_t y);

// The grey level below which the fixed-threshold method prints a dot:
// 32 (Lightest) up to 224 (Darkest), 128 for the normal curve and for any
// code above 6.
[[nodiscard]] unsigned FixedThreshold(std::uint32_t curve);

}  // namespace Brindle
