// The words in which people choose how a picture prints: the halftoning
// methods, the tone curves and lengths in millimetres. vellum-image's options
// and the driver's PPD choices read them alike, from this one table.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "graphics/bitmap_from_image.h"
#include "graphics/tone_curves.h"

namespace Corvane::LabelJob {

struct MethodWord {
  std::string_view word;
  std::int32_t method;  // Brindle::DitherMethod
};

// The methods of the bitmap-from-image operation: the three screens, the
// fixed threshold and the 4 x 4 patterns, in this order (the driver's page
// header counts them from 1 in it).
inline constexpr std::array<MethodWord, 5> kMethodWords = {{
    {"Screen1", Brindle::kFirstScreenMethod},
    {"Screen2", Brindle::kSecondScreenMethod},
    {"Screen32", Brindle::kThirtyTwoScreenMethod},
    {"Threshold", Brindle::kFixedThresholdMethod},
    {"Patterns", Brindle::kPatternMethod},
}};

// The tone curves; a word's index is its curve code (Brindle::ToneCurve).
inline constexpr std::array<std::string_view, 7> kCurveWords = {
    "Lightest", "Lighter", "Light", "Normal", "Dark", "Darker", "Darkest"};

// The method or the curve a word names, in any case; nullopt for none.
[[nodiscard]] std::optional<std::int32_t> MethodNamed(std::string_view word);
[[nodiscard]] std::optional<std::uint32_t> CurveNamed(std::string_view word);

// The screens have a tone of their own; only the fixed threshold and the
// patterns take a tone curve other than the normal one.
[[nodiscard]] bool TakesToneCurve(std::int32_t method);

// A length in millimetres ("3", "2.5", "25.44", optionally followed by "mm")
// in tenths, rounded to the nearest; nullopt for any other text or more than
// seven digits before the point.
[[nodiscard]] std::optional<std::uint32_t> ParseMillimetres(std::string_view text);

}  // namespace Corvane::LabelJob
